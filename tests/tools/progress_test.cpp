#include "tools/nerio/progress.h"

#include <gtest/gtest.h>

#include <sstream>

#include "tests/tools/tool_run.h"

namespace nerio::tool {
namespace {

using std::chrono::milliseconds;

// A session with a clock of its own, whose standard error is a terminal.
struct Watched {
  ToolHost tool;
  std::istringstream in;
  std::ostringstream out;
  std::ostringstream err;
  Output output{out, err};
  std::string version = "9.8.7";
  Session session{tool.View(), in, output, false, version, {true, true}};
  std::chrono::steady_clock::time_point now;
  Progress::Clock clock = [this] { return now; };
};

TEST(Progress, AfterASecond_ShowsTheShareAndTheTimeLeft) {
  Watched watched;
  {
    Progress progress(watched.session, "importing", Progress::Results::kLater, watched.clock);
    watched.now += milliseconds(999);
    progress.At(1, 10);
    EXPECT_EQ(watched.err.str(), "");
    watched.now += milliseconds(1);
    progress.At(1, 10);
    EXPECT_EQ(watched.err.str(), "\rnerio: importing 10 %, 9 s left");
    watched.now += milliseconds(199);
    progress.At(2, 10);
    EXPECT_EQ(watched.err.str(), "\rnerio: importing 10 %, 9 s left");
    watched.err.str("");
    watched.now += milliseconds(1);
    progress.At(1, 200);
    EXPECT_EQ(watched.err.str(), "\rnerio: importing 0 %           ");
    watched.err.str("");
    watched.now += milliseconds(200);
    progress.At(1, 100);
    EXPECT_EQ(watched.err.str(), "\rnerio: importing 1 %, 2 min 19 s left");
    watched.err.str("");
    watched.now += milliseconds(600);
    progress.At(10, 10);
    EXPECT_EQ(watched.err.str(), "\rnerio: importing 100 %, 1 s left     ");
    watched.err.str("");
  }
  EXPECT_EQ(watched.err.str(), "\r" + std::string(37, ' ') + "\r");
}

TEST(Progress, OfAnUnknownWhole_ShowsTheAmount) {
  Watched watched;
  watched.session.terminals.results = false;
  {
    Progress progress(watched.session, "encoding", Progress::Results::kMeanwhile, watched.clock);
    watched.now += milliseconds(1500);
    progress.AtBytes(5 << 20);
    EXPECT_EQ(watched.err.str(), "\rnerio: encoding 5 MiB");
  }
}

TEST(Progress, NothingIsShownWhereNobodySeesItOrResultsStand) {
  for (const auto& [talk, results, when] :
       {std::tuple(false, false, Progress::Results::kLater), std::tuple(false, true, Progress::Results::kMeanwhile),
        std::tuple(true, true, Progress::Results::kMeanwhile)}) {
    Watched watched;
    watched.session.terminals = {talk, results};
    {
      Progress progress(watched.session, "importing", when, watched.clock);
      EXPECT_FALSE(progress.IsShown());
      watched.now += milliseconds(5000);
      progress.At(1, 2);
      progress.AtBytes(1);
    }
    EXPECT_EQ(watched.err.str(), "");
  }
}

}  // namespace
}  // namespace nerio::tool

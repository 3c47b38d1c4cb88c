#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <nlohmann/json.hpp>
#include <span>
#include <thread>

#include "nerio/support/trace_log.h"
#include "tests/tools/tool_run.h"
#include "tools/nerio/file_rights.h"

namespace nerio::tool {
namespace {

using platform::SystemStatus;

class TraceVerbs : public ::testing::Test {
 protected:
  std::string Content() const {
    std::ifstream stream(file_, std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
  }
  void Append(const std::string& bytes) const { std::ofstream(file_, std::ios::binary | std::ios::app) << bytes; }

  ToolHost tool_;
  std::filesystem::path file_ = tool_.module.folder / "Nerio.log";
};

TEST_F(TraceVerbs, On_CreatesTheFileThatTheLayerWritesTo) {
  EXPECT_EQ(tool_.Run({"trace", "status"}).out, "no " + file_.string() + "\noff\n");
  std::string writers;
  const RunResult on = tool_.Run({"trace", "on"});
  ASSERT_EQ(WhoMayWrite(file_, writers), SystemStatus::kSuccess);
  EXPECT_EQ(on.out, file_.string() + " created\nwho can write to it: " + writers + "\non\n");
  EXPECT_EQ(Content(), "");
  WriteLog(u"perch\u00E9", tool_.View());
  EXPECT_EQ(Content(), "perch\xE9\r\n");
  EXPECT_EQ(tool_.Run({"trace", "on"}).out,
            file_.string() + " was there already\nwho can write to it: " + writers + "\non\n");
  EXPECT_EQ(Content(), "perch\xE9\r\n");
  EXPECT_EQ(tool_.Run({"trace", "status"}).out, file_.string() + ", 8 bytes\non\n");
  EXPECT_EQ(tool_.Run({"trace", "status", "--json"}).out,
            nlohmann::ordered_json(
                {{"tracing", true}, {"file", file_.string()}, {"bytes", 8}, {"writers", writers}, {"writable", true}})
                    .dump() +
                "\n");
}

TEST_F(TraceVerbs, OnForAll_LetsEverybodyWrite) {
  const RunResult on = tool_.Run({"trace", "on", "--for-all"});
  EXPECT_EQ(on.exit, 0) << on.err;
  std::string writers;
  ASSERT_EQ(WhoMayWrite(file_, writers), SystemStatus::kSuccess);
  EXPECT_NE(on.out.find("who can write to it: " + writers + "\n"), std::string::npos) << on.out;
  EXPECT_TRUE(writers.find("everybody") != std::string::npos || writers.find("Everyone") != std::string::npos)
      << writers;
}

// What a program of this user would meet: the file is there and cannot be opened.
class UnwritableFiles final : public platform::FileSystem {
 public:
  explicit UnwritableFiles(platform::FileSystem& real) : real_(real) {}
  SystemStatus FindOrdinaryFile(const Text& path, bool& found) override { return real_.FindOrdinaryFile(path, found); }
  SystemStatus OpenForAppend(const Text&, platform::FileHandle&) override { return kDenied; }
  SystemStatus Append(platform::FileHandle file, std::span<const char> bytes) override {
    return real_.Append(file, bytes);
  }
  SystemStatus Close(platform::FileHandle file) override { return real_.Close(file); }
  Text Describe(SystemStatus status) override { return real_.Describe(status); }

 private:
  static constexpr SystemStatus kDenied{13};
  platform::FileSystem& real_;
};

TEST_F(TraceVerbs, FileThatCannotBeAppendedTo_IsToldByStatusDoctorAndDate) {
  const platform::Host host = tool_.View();
  UnwritableFiles files(host.files);
  EXPECT_EQ(tool_.Run({"doctor"}).exit, 0);
  Append("x");
  tool_.files = &files;
  const RunResult status = tool_.Run({"trace", "status"});
  EXPECT_NE(status.exit, 0);
  EXPECT_NE(status.err.find("you cannot append to " + file_.string()), std::string::npos) << status.err;
  EXPECT_EQ(nlohmann::json::parse(tool_.Run({"trace", "status", "--json"}).out)["writable"], false);
  const RunResult doctor = tool_.Run({"doctor"});
  EXPECT_EQ(doctor.exit, 1);
  EXPECT_NE(doctor.out.find("trace: you cannot append to "), std::string::npos) << doctor.out;
  const RunResult date = tool_.Run({"date", "31/12/1999", "no", "--json"});
  const auto dates = nlohmann::json::parse(date.out)["dates"];
  EXPECT_EQ(dates[0]["isDate"], true);
  EXPECT_NE(dates[0]["result"], "31/12/1999");
  EXPECT_EQ(dates[1]["isDate"], false);
  EXPECT_NE(date.err.find("\"31/12/1999\" is a date; GetDate answered otherwise"), std::string::npos) << date.err;
  EXPECT_EQ(date.err.find("\"no\""), std::string::npos) << date.err;
}

TEST_F(TraceVerbs, On_WhereAFolderHasTheName_FailsAndSaysSo) {
  std::filesystem::create_directory(file_);
  EXPECT_EQ(tool_.Run({"trace", "status"}).out, "no " + file_.string() + "\noff\n");
  const RunResult result = tool_.Run({"trace", "on"});
  EXPECT_EQ(result.exit, 1);
  EXPECT_NE(result.err.find("cannot create " + file_.string()), std::string::npos) << result.err;
  EXPECT_TRUE(std::filesystem::is_directory(file_));
}

TEST_F(TraceVerbs, Off_DeletesAnEmptyFileAndAsksForOneWithContent) {
  EXPECT_EQ(tool_.Run({"trace", "off"}).out, file_.string() + " was not there\noff\n");
  Append("");
  EXPECT_EQ(tool_.Run({"trace", "off"}).out, file_.string() + " deleted\noff\n");
  EXPECT_FALSE(std::filesystem::exists(file_));
  Append("a\r\n");
  const RunResult refused = tool_.Run({"trace", "off"});
  EXPECT_EQ(refused.exit, 2);
  EXPECT_NE(refused.err.find("the 3 bytes in it"), std::string::npos) << refused.err;
  EXPECT_EQ(Content(), "a\r\n");
  EXPECT_EQ(tool_.Run({"trace", "off", "--yes"}).exit, 0);
  EXPECT_FALSE(std::filesystem::exists(file_));
}

TEST_F(TraceVerbs, Tail_ShowsTheLastLinesInUtf8) {
  EXPECT_EQ(tool_.Run({"trace", "tail"}).exit, 3);
  Append("");
  EXPECT_EQ(tool_.Run({"trace", "tail"}).out, "");
  std::string lines;
  for (int i = 0; i < 30000; ++i) lines += "riga " + std::to_string(i) + "\r\n";
  Append(lines + "\r\nperch\xE9");
  EXPECT_EQ(tool_.Run({"trace", "tail", "-n", "4"}).out, "riga 29998\nriga 29999\n\nperch\xC3\xA9\n");
  EXPECT_EQ(tool_.Run({"trace", "tail", "-n", "0"}).out, "");
  const std::string all = tool_.Run({"trace", "tail", "-n", "1000000"}).out;
  EXPECT_EQ(std::count(all.begin(), all.end(), '\n'), 30002);
  EXPECT_TRUE(all.starts_with("riga 0\nriga 1\n"));
  const auto json = nlohmann::json::parse(tool_.Run({"trace", "tail", "--json"}).out);
  EXPECT_EQ(json["lines"].size(), 10u);
  EXPECT_EQ(json["lines"][9], "perch\xC3\xA9");
}

TEST_F(TraceVerbs, TailFollow_GoesOnUntilTracingIsSwitchedOff) {
  Append("prima\r\n");
  RunResult result;
  std::thread reader([&] { result = tool_.Run({"trace", "tail", "-f"}); });
  const auto pause = [] { std::this_thread::sleep_for(std::chrono::milliseconds(500)); };
  pause();
  Append("dopo\r\nmezza");
  pause();
  Append(" riga\r\n");
  pause();
  std::ofstream(file_, std::ios::binary | std::ios::trunc) << "a\r\n";
  pause();
  std::filesystem::remove(file_);
  reader.join();
  EXPECT_EQ(result.exit, 0);
  EXPECT_EQ(result.out, "prima\ndopo\nmezza riga\na\n");
  EXPECT_EQ(result.err, "nerio: the log starts over\nnerio: tracing was switched off\n");
}

}  // namespace
}  // namespace nerio::tool

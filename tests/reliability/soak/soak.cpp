// An hour, or as many seconds as asked for, of mixed work in one process: what it has taken of the system at the end is
// what it had at the beginning, but for the keys that creations leave open, deliberately, which are counted and closed.
//
//   nerio_soak SECONDS SEED [--leak bytes|descriptor]     --leak: the program itself leaks with each round, to be seen

#include <malloc.h>

#include <fcntl.h>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <iostream>
#include <iterator>
#include <map>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>

#include "nerio/platform/host.h"
#include "nerio/registry/branch_names.h"
#include "nerio/registry/cregistry.h"
#include "nerio/support/base64.h"
#include "nerio/support/build_path.h"
#include "nerio/support/component_errors.h"
#include "nerio/support/conversions.h"
#include "nerio/support/messages.h"
#include "nerio/support/templates.h"
#include "nerio/support/trace_log.h"
#include "nerio/support/xml.h"
#include "nerio/types/utf8.h"
#include "tests/testing/forwarding_registry.h"
#include "tests/testing/temporary_folder.h"

namespace nerio {
namespace {

void Require(bool holds, std::string_view what) {
  if (!holds) throw std::runtime_error(std::string(what));
}

// Counts the handles that are open, and keeps those of created keys, which the layer leaves open, to close them.
class CountingRegistry final : public testing::ForwardingRegistry {
 public:
  using ForwardingRegistry::ForwardingRegistry;

  platform::Status OpenKey(platform::KeyHandle root, const AnsiText& subKey, std::uint32_t options,
                           std::uint32_t access, platform::KeyHandle& opened) override {
    const auto status = ForwardingRegistry::OpenKey(root, subKey, options, access, opened);
    if (status == platform::kSuccess) ++open;
    return status;
  }
  platform::Status CreateKey(platform::KeyHandle root, const AnsiText& subKey, std::uint32_t reserved,
                             const AnsiText& keyClass, std::uint32_t options, std::uint32_t access,
                             const platform::SecurityAttributes& security, platform::KeyHandle& created,
                             std::uint32_t& disposition) override {
    const auto status = ForwardingRegistry::CreateKey(root, subKey, reserved, keyClass, options, access, security,
                                                      created, disposition);
    if (status == platform::kSuccess) {
      ++open;
      ++creations;
      created_.push_back(created);
    }
    return status;
  }
  platform::Status CloseKey(platform::KeyHandle key) override {
    --open;
    return ForwardingRegistry::CloseKey(key);
  }

  // Closes what creations left open. Nothing else is open.
  void CloseCreated() {
    Require(open == static_cast<long>(created_.size()), "a handle other than those of created keys is open");
    for (const platform::KeyHandle key : created_) CloseKey(key);
    created_.clear();
  }

  long open = 0;
  long creations = 0;

 private:
  std::vector<platform::KeyHandle> created_;
};

// The trace file lies here.
class HereIsTheLibrary final : public platform::ModuleLocation {
 public:
  explicit HereIsTheLibrary(const std::filesystem::path& folder) : folder_(folder.u16string()) {
    std::replace(folder_.begin(), folder_.end(), u'/', u'\\');
  }
  platform::SystemStatus Folder(Text& answer) override {
    answer = folder_;
    return platform::SystemStatus::kSuccess;
  }

 private:
  Text folder_;
};

struct Taken {
  std::size_t bytes;
  std::size_t descriptors;
};

Taken Measure() {
  return {::mallinfo2().uordblks,
          static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}))};
}

class Work {
 public:
  explicit Work(std::uint32_t seed) : random_(seed) {
    std::FILE* const file = std::fopen((folder_.path() / "Nerio.log").c_str(), "w");
    Require(file != nullptr, "no trace file");
    std::fclose(file);
    for (int i = 0; i < 8; ++i) texts_.push_back(Text(static_cast<std::size_t>(i * i * 7), u'\u00E0'));
  }

  CountingRegistry& registry() { return registry_; }

  // A round of every kind of work, each with random texts.
  void Round() {
    ReadAndWrite();
    MakeAndDelete();
    Convert();
    BuildXml();
    FailOnPurpose();
    if (++rounds_ % 64 == 0) {
      std::filesystem::resize_file(folder_.path() / "Nerio.log", 0);
      // A host of its own, opened and closed.
      const auto other = platform::OpenHost({folder_.path() / "registry"});
      CRegistry(other->Services()).VerificaRamo(u"Software\\Nerio");
    }
    registry_.CloseCreated();
  }

  // Each branch has a name of its own.
  void MakeAndDelete() {
    CRegistry registry(services_);
    const Text branch = u"Software\\Nerio\\Gone" + FromUtf8(std::to_string(gone_++));
    Require(registry.CreaRamo(branch) == True, "a branch is not made");
    Require(registry.VerificaRamo(branch) == False, "a branch is not there");
    Require(registry.CancellaRamo(branch) == True, "a branch is not deleted");
    Require(registry.VerificaRamo(branch) == True, "a deleted branch is there");
    registry_.CloseCreated();
  }

 private:
  std::uint32_t Below(std::uint32_t limit) { return static_cast<std::uint32_t>(random_() % limit); }
  const Text& SomeText() { return texts_[Below(8)]; }
  Text SomeName() { return u"Nome" + FromUtf8(std::to_string(Below(5))); }

  void ReadAndWrite() {
    CRegistry registry(services_);
    registry.RamoPredefinito(u"Soak\\" + SomeName());
    const Text name = SomeName();
    const Text& value = SomeText();
    Require(registry.ScriviRegistroEx(name, value) == u"True", "a value is not written");
    Require(registry.LeggiRegistro(name, u"-") == value, "a value is not read");
    if (Below(3) == 0) Require(registry.CancellaRegistro(name) == True, "a value is not deleted");
    registry.LeggiRegistro(SomeName(), u"-");
    for (const Text& each : ValueNames(u"Software\\Nerio\\Soak", platform::kHkeyLocalMachine, services_)) {
      Require(each.empty(), "a value that nobody wrote");
    }
    std::size_t keys = 0;
    for (const Text& each : SubKeyNames(u"Software\\Nerio\\Soak", platform::kHkeyLocalMachine, services_)) {
      if (!each.empty()) ++keys;
    }
    Require(keys > 0, "no key is listed");
  }

  void Convert() {
    WriteLog(SomeText(), services_);
    const Text& text = SomeText();
    Text encoded;
    Require(EncodeBase64(text, encoded, services_) == 0, "a text is not encoded");
    Require(DecodeBase64(encoded, services_) == text, "a text is not decoded");
    Require(GetGuid(services_).size() == 36, "no GUID");
    GetDate(Below(2) == 0 ? u"31/12/1999" : SomeText(), services_);
    const ArgumentList arguments{{Text(u"uno {1}"), 1.5, Date{3.5}, Currency{12345}}, 0};
    FormatTemplate(u"{0} {1} {2} {3}" + text, arguments, services_);
    BuildPath(text, u"a.log");
    GetErrorMessage(static_cast<std::int32_t>(0x80040000u + Below(20)));
  }

  void BuildXml() {
    platform::XmlDom& dom = services_.xml;
    const platform::XmlDocument document(dom, dom.CreateDocument());
    Require(dom.LoadXml(document.get(), u"<r a='1'>t<b/></r>"), "a document is not loaded");
    const platform::XmlNode root(dom, dom.SelectSingleNode(document.get(), u"r"));
    for (std::uint32_t i = Below(20); i > 0; --i) {
      AddXMLElement(document, root, SomeName(), SomeText());
      SetXMLAttribute(document, root, SomeName(), SomeText());
    }
    const Text written = dom.GetXml(document.get());
    const platform::XmlDocument again(dom, dom.CreateDocument());
    Require(dom.LoadXml(again.get(), written), "a document is not loaded again");
    Require(!dom.LoadXml(again.get(), u"<r><s></r>"), "a document is loaded that is none");
  }

  void FailOnPurpose() {
    int raised = 0;
    const auto expect = [&raised](const std::function<void()>& call) {
      try {
        call();
      } catch (const Error&) {
        ++raised;
      }
    };
    CRegistry registry(services_);
    registry.RitornaErrori(True);
    expect([&] { registry.LeggiRegistro(u"x"); });
    expect([&] { registry.CancellaRamo(u"Software\\Nerio\\Manca"); });
    expect([&] { ValidateParam(u"", u"sNome", services_); });
    expect([&] { RaiseError(ErrNullOrEmptyParameter, u"op", u"x", services_); });
    expect([&] { FormatTemplate(u"{0}", {{Null{}}, 0}, services_); });
    Require(raised == 5, "an error is not raised");
  }

  std::mt19937 random_;
  testing::TemporaryFolder folder_;
  std::unique_ptr<platform::HostInstance> real_ = platform::OpenHost({folder_.path() / "registry"});
  CountingRegistry registry_{real_->Services().registry};
  HereIsTheLibrary module_{folder_.path()};
  const platform::Host services_{registry_,
                                 real_->Services().codePage,
                                 real_->Services().files,
                                 module_,
                                 real_->Services().guids,
                                 real_->Services().xml,
                                 real_->Services().regional};
  std::vector<Text> texts_;
  long rounds_ = 0;
  long gone_ = 0;
};

int Run(double seconds, std::uint32_t seed, std::string_view leak) {
  using Clock = std::chrono::steady_clock;
  Work work(seed);
  // Until everything that is made once is made, and the cache is full, which keeps 2,048 keys.
  for (int i = 0; i < 2200; ++i) work.MakeAndDelete();
  for (int i = 0; i < 300; ++i) work.Round();
  const Taken before = Measure();
  long rounds = 0;
  for (const auto end = Clock::now() + std::chrono::duration<double>(seconds); Clock::now() < end; ++rounds) {
    work.Round();
    if (leak == "bytes") static_cast<void>(!std::malloc(1024));
    if (leak == "descriptor" && rounds < 100) ::open("/dev/null", O_RDONLY | O_CLOEXEC);
  }
  const Taken after = Measure();
  std::cout << rounds << " rounds, seed " << seed << ": " << work.registry().creations
            << " keys made and their handles, which stay open, closed; descriptors " << before.descriptors << " and "
            << after.descriptors << ", bytes " << before.bytes << " and " << after.bytes << '\n';
  // What is kept to be used again comes and goes; what a round keeps adds up.
  constexpr std::size_t kLittle = 32 << 10;
  constexpr std::size_t kMost = 256 << 10;
  const std::size_t allowed = kLittle + std::min(kMost, static_cast<std::size_t>(rounds) * 16);
  const bool flat = after.descriptors == before.descriptors && after.bytes < before.bytes + allowed;
  return flat ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace
}  // namespace nerio

int main(int count, char** arguments) try {
  const std::vector<std::string> given(arguments + 1, arguments + count);
  if (given.size() != 2 && (given.size() != 4 || given[2] != "--leak")) {
    std::cerr << "usage: nerio_soak SECONDS SEED [--leak bytes|descriptor]\n";
    return 2;
  }
  return nerio::Run(std::stod(given[0]), static_cast<std::uint32_t>(std::stoul(given[1])),
                    given.size() == 4 ? given[3] : "");
} catch (const std::exception& error) {
  std::cerr << "nerio_soak: " << error.what() << '\n';
  return 3;
}

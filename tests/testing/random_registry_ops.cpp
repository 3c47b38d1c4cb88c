#include "tests/testing/random_registry_ops.h"

#include <algorithm>
#include <random>
#include <utility>
#include <vector>

#include "tests/testing/ansi_literal.h"
#include "tests/testing/registry_access.h"
#include "tests/testing/tables.h"

namespace nerio::testing {

using namespace platform;  // NOLINT(google-build-using-namespace): every name below is the seam's

namespace {

constexpr std::size_t kMostHandles = 24;
const AnsiText kSeparator = "\\"_ansi;

// One key name in several spellings each, so that calls meet.
const AnsiText kKeyNames[] = {"a"_ansi,  "A"_ansi,    "b"_ansi,   AnsiText("Citt\xE0"), AnsiText("CITT\xC0"),
                              ".."_ansi, "a b"_ansi,  "x/y"_ansi, AnsiText("\x8A"),     AnsiText("\x9A"),
                              "%"_ansi,  "Nerio"_ansi};
const AnsiText kValueNames[] = {
    ""_ansi,     "Nome"_ansi,      "NOME"_ansi,      "nome"_ansi, "\\"_ansi,
    "a\\b"_ansi, AnsiText("\xE8"), AnsiText("\xC8"), "?"_ansi,    AnsiText("un nome assai pi\xF9 lungo")};
const std::uint32_t kTypes[] = {kRegNone, kRegSz, kRegExpandSz, kRegBinary, kRegDword, kRegMultiSz, 99, 0xFFFFFFFF};
const std::uint32_t kSizes[] = {0, 1, 2, 3, 4, 60, 511, 512, 1023, 1024, 1025, 5000};
const std::uint32_t kAccesses[] = {kLayerAccess, kLayerAccess, kLayerAccess, kKeyRead, kKeySetValue, 0};

// Tells whether a path, up to its first NUL, is more than separators.
bool NamesALevel(const AnsiText& path) {
  const std::string_view cut(path.c_str());
  return cut.find_first_not_of('\\') != std::string_view::npos;
}

class Comparison {
 public:
  Comparison(RegistryApi& subject, RegistryApi& model, const AnsiText& path, std::uint32_t seed)
      : subject_(subject), model_(model), path_(path), seed_(seed), random_(seed) {}

  std::string Run(std::size_t operations) {
    for (RegistryApi* const registry : {&subject_, &model_}) {
      DeleteTree(*registry, kHkeyLocalMachine, path_);
      MakeKey(*registry, kHkeyLocalMachine, path_);
    }
    for (number_ = 1; number_ <= operations && difference_.empty(); ++number_) One();
    while (!handles_.empty()) Close(0);
    if (difference_.empty()) {
      what_ = "everything at the end";
      const std::vector<std::string> subject = ContentsOf(subject_, kHkeyLocalMachine, path_);
      const std::vector<std::string> model = ContentsOf(model_, kHkeyLocalMachine, path_);
      const auto [here, there] = std::mismatch(subject.begin(), subject.end(), model.begin(), model.end());
      Same(here == subject.end() ? "nothing more" : *here, there == model.end() ? "nothing more" : *there);
    }
    for (RegistryApi* const registry : {&subject_, &model_}) DeleteTree(*registry, kHkeyLocalMachine, path_);
    return difference_;
  }

 private:
  using Handles = std::pair<KeyHandle, KeyHandle>;  // one key: the subject's handle and the model's

  std::uint32_t Below(std::size_t limit) { return static_cast<std::uint32_t>(random_() % limit); }
  template <typename T, std::size_t count>
  const T& OneOf(const T (&choices)[count]) {
    return choices[Below(count)];
  }

  AnsiText Path() {
    AnsiText path;
    for (std::uint32_t levels = Below(4); levels > 0; --levels) {
      path += OneOf(kKeyNames);
      if (levels > 1 || Below(16) == 0) path += kSeparator;
    }
    // Now and then what no path may be, or one that is cut at its NUL.
    if (Below(40) == 0) path = kSeparator + path;
    if (Below(40) == 0) path += "\0tail"_ansi;
    if (Below(100) == 0) path = AnsiText(std::string(257, 'k'));
    return path;
  }

  AnsiText ValueName() { return Below(200) == 0 ? AnsiText(std::string(16384, 'v')) : OneOf(kValueNames); }

  Handles Handle() {
    if (handles_.empty() || Below(20) == 0) return Root();
    return handles_[Below(handles_.size())];
  }

  // A handle of the work key itself, of its own for each use.
  Handles Root() {
    what_ = "open the work key";
    Handles root{0, 0};
    const Status subject = subject_.OpenKey(kHkeyLocalMachine, path_, kRegOptionNonVolatile, kLayerAccess, root.first);
    const Status model = model_.OpenKey(kHkeyLocalMachine, path_, kRegOptionNonVolatile, kLayerAccess, root.second);
    Same(std::to_string(NumberOf(subject)), std::to_string(NumberOf(model)));
    handles_.push_back(root);
    return root;
  }

  // Compares two answers; the first difference is kept.
  void Same(const std::string& subject, const std::string& model) {
    if (subject == model || !difference_.empty()) return;
    difference_ = "seed " + std::to_string(seed_) + ", call " + std::to_string(number_) + ", " + what_ + ": " +
                  subject + " instead of " + model;
  }

  void One() {
    while (handles_.size() > kMostHandles) Close(Below(handles_.size()));
    switch (Below(16)) {
      case 0:
      case 1:
        return Open();
      case 2:
      case 3:
      case 4:
        return Create();
      case 5:
      case 6:
      case 7:
        return Set();
      case 8:
      case 9:
      case 10:
        return Query();
      case 11:
        return DeleteOneKey();
      case 12:
        return DeleteOneValue();
      case 13:
        return Enumerate();
      default:
        if (!handles_.empty()) Close(Below(handles_.size()));
    }
  }

  void Open() {
    const Handles base = Handle();
    const AnsiText path = Path();
    const std::uint32_t access = OneOf(kAccesses);
    what_ = "open " + ToHex(path);
    Handles opened{1, 1};
    const Status subject = subject_.OpenKey(base.first, path, kRegOptionNonVolatile, access, opened.first);
    const Status model = model_.OpenKey(base.second, path, kRegOptionNonVolatile, access, opened.second);
    Keep(subject, model, opened);
  }

  void Create() {
    const Handles base = Handle();
    const AnsiText path = Path();
    const std::uint32_t access = OneOf(kAccesses);
    what_ = "create " + ToHex(path);
    Handles created{0, 0};
    std::pair<std::uint32_t, std::uint32_t> dispositions{0, 0};
    const Status subject = subject_.CreateKey(base.first, path, 0, ""_ansi, kRegOptionNonVolatile, access, {},
                                              created.first, dispositions.first);
    const Status model = model_.CreateKey(base.second, path, 0, ""_ansi, kRegOptionNonVolatile, access, {},
                                          created.second, dispositions.second);
    Keep(subject, model, created);
    // Whether the handle's own key, which an empty path names, was there is told in different ways.
    if (subject == kSuccess && NamesALevel(path)) {
      Same("disposition " + std::to_string(dispositions.first), "disposition " + std::to_string(dispositions.second));
    }
  }

  void Keep(Status subject, Status model, const Handles& handles) {
    Same(std::to_string(NumberOf(subject)), std::to_string(NumberOf(model)));
    if (subject == kSuccess && model == kSuccess) handles_.push_back(handles);
  }

  void Close(std::size_t index) {
    what_ = "close";
    const Handles handles = handles_[index];
    handles_.erase(handles_.begin() + static_cast<std::ptrdiff_t>(index));
    Same(std::to_string(NumberOf(subject_.CloseKey(handles.first))),
         std::to_string(NumberOf(model_.CloseKey(handles.second))));
  }

  void Set() {
    const Handles key = Handle();
    const AnsiText name = ValueName();
    const std::uint32_t type = OneOf(kTypes);
    std::string data(OneOf(kSizes), '\0');
    for (char& byte : data) byte = static_cast<char>(Below(256));
    what_ = "set " + ToHex(name.bytes().substr(0, 40));
    Same(std::to_string(NumberOf(subject_.SetValue(key.first, name, 0, type, data))),
         std::to_string(NumberOf(model_.SetValue(key.second, name, 0, type, data))));
  }

  void Query() {
    const Handles key = Handle();
    const AnsiText name = ValueName();
    const std::uint32_t offered = OneOf(kSizes);
    what_ = "query " + ToHex(name.bytes().substr(0, 40));
    Same(Queried(subject_, key.first, name, offered), Queried(model_, key.second, name, offered));
  }

  static std::string Queried(RegistryApi& registry, KeyHandle key, const AnsiText& name, std::uint32_t offered) {
    std::string buffer(offered, '\xA5');
    buffer.push_back('\xA5');  // so that a buffer of no bytes is one
    std::uint32_t type = 0xA5A5A5A5;
    std::uint32_t size = offered;
    const Status status = registry.QueryValue(key, name, type, std::span(buffer.data(), offered), size);
    if (status == kSuccess) buffer.resize(std::min<std::size_t>(size, offered));
    return std::to_string(NumberOf(status)) + " type " + std::to_string(type) + " size " + std::to_string(size) +
           " data " + ToHex(buffer);
  }

  void DeleteOneKey() {
    const Handles base = Handle();
    // Not the work key itself, unless by a handle of its own.
    const AnsiText path = Path();
    what_ = "delete key " + ToHex(path);
    Same(std::to_string(NumberOf(subject_.DeleteKey(base.first, path))),
         std::to_string(NumberOf(model_.DeleteKey(base.second, path))));
    if (!KeyExists(model_, kHkeyLocalMachine, path_)) {
      MakeKey(subject_, kHkeyLocalMachine, path_);
      MakeKey(model_, kHkeyLocalMachine, path_);
    }
  }

  void DeleteOneValue() {
    const Handles key = Handle();
    const AnsiText name = ValueName();
    what_ = "delete value " + ToHex(name.bytes().substr(0, 40));
    Same(std::to_string(NumberOf(subject_.DeleteValue(key.first, name))),
         std::to_string(NumberOf(model_.DeleteValue(key.second, name))));
  }

  void Enumerate() {
    const Handles key = Handle();
    const std::uint32_t index = Below(6);
    what_ = "enumeration at " + std::to_string(index);
    Same(Enumerated(subject_, key.first, index), Enumerated(model_, key.second, index));
  }

  static std::string Enumerated(RegistryApi& registry, KeyHandle key, std::uint32_t index) {
    AnsiText name = "untouched"_ansi;
    std::string answer = std::to_string(NumberOf(registry.EnumKey(key, index, name))) + " key " + ToHex(name);
    AnsiText valueName = "untouched"_ansi;
    std::uint32_t type = 0xA5A5A5A5;
    std::string data = "untouched";
    answer += ", " + std::to_string(NumberOf(registry.EnumValue(key, index, valueName, type, data)));
    return answer + " value " + ToHex(valueName) + " type " + std::to_string(type) + " data " + ToHex(data);
  }

  RegistryApi& subject_;
  RegistryApi& model_;
  const AnsiText path_;
  const std::uint32_t seed_;
  std::mt19937 random_;
  std::vector<Handles> handles_;
  std::size_t number_ = 0;
  std::string what_;
  std::string difference_;
};

}  // namespace

std::string CompareRandomOperations(RegistryApi& subject, RegistryApi& model, const AnsiText& path, std::uint32_t seed,
                                    std::size_t operations) {
  return Comparison(subject, model, path, seed).Run(operations);
}

}  // namespace nerio::testing

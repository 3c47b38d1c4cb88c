#include "tools/nerio/registry/registry_key.h"

#include <algorithm>
#include <cstdio>

#include "nerio/hosts/portable/text/fold_case.h"
#include "nerio/types/utf8.h"

namespace nerio::tool {
namespace {

struct Root {
  const char16_t* shortName;
  const char16_t* longName;
  platform::KeyHandle handle;
};

constexpr Root kRoots[] = {
    {u"HKLM", u"HKEY_LOCAL_MACHINE", platform::kHkeyLocalMachine},
    {u"HKCU", u"HKEY_CURRENT_USER", platform::kHkeyCurrentUser},
    {u"HKCR", u"HKEY_CLASSES_ROOT", platform::kHkeyClassesRoot},
    {u"HKU", u"HKEY_USERS", platform::kHkeyUsers},
    {u"HKCC", u"HKEY_CURRENT_CONFIG", platform::kHkeyCurrentConfig},
};

bool EqualsRoot(TextView text, TextView root) {
  return std::equal(text.begin(), text.end(), root.begin(), root.end(),
                    [](char16_t a, char16_t b) { return platform::FoldCase(a) == platform::FoldCase(b); });
}

std::string CodePoint(TextView text, std::size_t at) {
  unsigned point = text[at];
  if (point >= 0xD800 && point < 0xDC00 && at + 1 < text.size() && text[at + 1] >= 0xDC00 && text[at + 1] < 0xE000) {
    point = 0x10000 + ((point - 0xD800u) << 10) + (text[at + 1] - 0xDC00u);
  }
  char number[16];
  static_cast<void>(std::snprintf(number, sizeof number, "U+%04X", point));
  return number;
}

}  // namespace

AnsiText ToAnsiExactly(TextView text, platform::CodePage& codePage) {
  AnsiText ansi = codePage.ToAnsi(text);
  const Text back = codePage.ToText(ansi.bytes());
  if (back == text) return ansi;
  const auto differs = std::mismatch(text.begin(), text.end(), back.begin(), back.end());
  const auto at = static_cast<std::size_t>(differs.first - text.begin());
  const std::size_t length = at + 1 < text.size() && text[at] >= 0xD800 && text[at] < 0xDC00 ? 2 : 1;
  throw BadText("the character \"" + ToUtf8(text.substr(at, length)) + "\" (" + CodePoint(text, at) +
                ") is not in code page " + std::to_string(codePage.Identifier()) +
                ", in which the registry stores its texts");
}

RegistryKey ParseKey(TextView text, platform::CodePage& codePage) {
  const TextView rootName = text.substr(0, text.find(u'\\'));
  const auto* root = std::find_if(std::begin(kRoots), std::end(kRoots), [&](const Root& candidate) {
    return EqualsRoot(rootName, candidate.shortName) || EqualsRoot(rootName, candidate.longName);
  });
  if (root == std::end(kRoots)) {
    throw BadText(
        "\"" + ToUtf8(rootName) +
        "\" is not a root key; a key begins with HKLM, HKCU, HKCR, HKU, HKCC or with the root's long name, as in "
        "HKLM\\Software\\Nerio");
  }
  if (text.find(u'\0') != TextView::npos) throw BadText("a key cannot hold a NUL");
  const TextView below = text.substr(rootName.size());
  Text path;
  for (std::size_t start = 0; start < below.size();) {
    const std::size_t end = std::min(below.find(u'\\', start), below.size());
    if (end - start > kMaxKeyName) {
      throw BadText("a level of the key has " + std::to_string(end - start) + " characters; " +
                    std::to_string(kMaxKeyName) + " is the limit");
    }
    if (end > start) {
      if (!path.empty()) path += u'\\';
      path += below.substr(start, end - start);
    }
    start = end + 1;
  }
  return {root->handle, ToAnsiExactly(path, codePage)};
}

std::size_t RootNameLength(TextView text) {
  std::size_t longest = 0;
  for (const Root& root : kRoots) {
    for (const TextView name : {TextView(root.shortName), TextView(root.longName)}) {
      if (EqualsRoot(text.substr(0, name.size()), name)) longest = std::max(longest, name.size());
    }
  }
  return longest;
}

Text KeyText(const RegistryKey& key, platform::CodePage& codePage) {
  const auto* root = std::find_if(std::begin(kRoots), std::end(kRoots),
                                  [&](const Root& candidate) { return candidate.handle == key.root; });
  Text text = root != std::end(kRoots) ? root->longName : u"";
  if (!key.path.empty()) text += u'\\' + codePage.ToText(key.path.bytes());
  return text;
}

std::string ShownKey(const RegistryKey& key, platform::CodePage& codePage) { return ToUtf8(KeyText(key, codePage)); }

std::string ShownName(const AnsiText& name, platform::CodePage& codePage) {
  if (name.empty()) return "the unnamed value";
  std::string shown = "\"";
  shown += ToUtf8(codePage.ToText(name.bytes()));
  return shown += '"';
}

std::string ShownValue(const RegistryKey& key, const AnsiText& name, platform::CodePage& codePage) {
  return ShownName(name, codePage) + " in " + ShownKey(key, codePage);
}

Text Folded(Text text) {
  for (char16_t& unit : text) unit = platform::FoldCase(unit);
  return text;
}

Text FoldedName(const AnsiText& name, platform::CodePage& codePage) { return Folded(codePage.ToText(name.bytes())); }

AnsiText ParseValueName(TextView text, platform::CodePage& codePage) {
  if (text.find(u'\0') != TextView::npos) throw BadText("the name of a value cannot hold a NUL");
  if (text.size() > kMaxValueName) {
    throw BadText("the name of the value has " + std::to_string(text.size()) + " characters; " +
                  std::to_string(kMaxValueName) + " is the limit");
  }
  return ToAnsiExactly(text, codePage);
}

RegistryKey UpperKey(const RegistryKey& key) {
  const std::size_t last = key.path.bytes().rfind('\\');
  return {key.root, last == std::string::npos ? AnsiText() : AnsiText(key.path.bytes().substr(0, last))};
}

AnsiText JoinPath(const AnsiText& upper, const AnsiText& lower) {
  return upper.empty() || lower.empty() ? upper + lower : upper + AnsiText("\\") + lower;
}

}  // namespace nerio::tool

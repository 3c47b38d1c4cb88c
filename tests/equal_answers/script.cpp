#include "tests/equal_answers/script.h"

#include <bit>
#include <cmath>
#include <initializer_list>
#include <random>

#include "nerio/support/messages.h"
#include "tests/testing/tables.h"

namespace nerio::equal_answers {
namespace {

using testing::Escape;

// Parts of the branch's keys: few, so that operations meet, in several spellings and with characters that the code page
// replaces, one of them by a separator.
constexpr TextView kKeyNames[] = {
    u"App",    u"APP",        u"Citt\u00E0",   u"CITT\u00C0",   u"a b",     u"..",       u"x/y", u"\u0160",
    u"\u0161", u"\u20AC uro", u"\u0416\u4E2D", u"\xD83D\xDE00", u"e\u0301", u"a\u2216b", u"%41", u"\xD800"};
constexpr TextView kValueNames[] = {u"",       u"Nome", u"NOME", u"citt\u00E0", u"CITT\u00C0",
                                    u"\u0416", u"?",    u"a\\b", u"\\",         u"Nome\u2212"};
constexpr TextView kWords[] = {
    u"testo",        u"perch\u00E9", u"Anna",     u"\u20AC 5",         u"\u0416\u0417", u"\u4E2D\u6587",
    u"\xD83D\xDE00", u"\xDC00",      u"e\u0301",  u"\u221E",           u"\u0081",       u"{0}",
    u" due parole ", u"C:\\Dir",     u"riga\r\n", u"\u201Ccosi\u201D", u"<&>\"'",       u"\uFF21"};
constexpr TextView kElements[] = {u"voce", u"Voce", u"citt\u00E0", u"a-b.c", u"_1", u"p:voce", u"\u4E2D"};
constexpr TextView kAttributes[] = {u"id", u"ID", u"nome", u"citt\u00E0", u"p:b", u"p:id", u"xml:lang", u"_"};
constexpr TextView kNoNames[] = {u"1a", u"a b", u"<", u"", u"a&", u"-x"};

// Roots as the scripts write them; what lies below HKEY_LOCAL_MACHINE and HKEY_CURRENT_USER only.
constexpr char kLocalMachine[] = "80000002";
constexpr char kCurrentUser[] = "80000001";

class Maker {
 public:
  explicit Maker(std::uint32_t seed) : random_(seed) {}

  std::vector<std::string> Make(std::size_t operations) {
    Put({"NewDocument", "d"});
    Root();
    Put({"SwitchTrace", "on"});
    while (script_.size() + 1 < operations) One();
    Put({"TakeTrace"});
    script_.resize(operations);
    return script_;
  }

 private:
  std::uint32_t Below(std::size_t limit) { return static_cast<std::uint32_t>(random_() % limit); }
  bool OneIn(std::uint32_t chances) { return Below(chances) == 0; }
  template <typename Value, std::size_t count>
  const Value& OneOf(const Value (&values)[count]) {
    return values[Below(count)];
  }

  void Put(std::initializer_list<std::string> fields) {
    std::string line;
    for (const std::string& field : fields) line += (line.empty() ? "" : "\t") + field;
    script_.push_back(line);
  }

  void One() {
    const std::uint32_t kind = Below(100);
    if (kind < 38) {
      RegistryClass();
    } else if (kind < 58) {
      NativeLayer();
    } else if (kind < 66) {
      Trace();
    } else if (kind < 78) {
      Xml();
    } else if (kind < 84) {
      Base64();
    } else if (kind < 89) {
      Put({"GetDate", Escape(DateText())});
    } else if (kind < 95) {
      Template();
    } else {
      Other();
    }
  }

  // Texts.

  Text Words(std::size_t most) {
    Text text;
    for (std::uint32_t i = Below(most); i > 0; --i) text += OneOf(kWords);
    return text;
  }
  Text AnyUnits(std::size_t most) {
    Text text(Below(most), u'\0');
    for (char16_t& unit : text) unit = static_cast<char16_t>(OneIn(3) ? Below(0x10000) : Below(0x180));
    return text;
  }
  Text SomeText() {
    switch (Below(12)) {
      case 0:
        return {};
      case 1:
        return AnyUnits(40);
      case 2:
        return Words(4) + Text(1, u'\0') + Words(3);
      case 3:
        return Text(1, OneOf(kWords).front());
      case 4:
        return OneIn(2) ? Text(1019 + Below(10), u'x') + Words(2) : AnyUnits(1100);
      default:
        return Words(6) + Text(OneOf(kWords));
    }
  }
  Text Decimal(std::uint32_t number) {
    const std::string digits = std::to_string(number);
    return {digits.begin(), digits.end()};
  }

  // The registry.

  Text BelowBranch() {
    // Most of the time one of five keys, so that what is written is found again.
    const std::uint32_t levels = OneIn(5) ? Below(4) : 1;
    Text path;
    for (std::uint32_t i = 0; i < levels; ++i) {
      if (!path.empty()) path += OneIn(12) ? u"\\\\" : u"\\";
      path += levels == 1 && !OneIn(6) ? kKeyNames[Below(5)] : OneOf(kKeyNames);
    }
    if (OneIn(40)) path += u'\\';
    if (OneIn(60)) path += Text(1, u'\0') + u"coda";
    return path;
  }
  // Never empty: the roots themselves are left alone.
  Text Path() {
    Text path(kBranch);
    if (const Text below = BelowBranch(); !below.empty()) path += u"\\" + below;
    if (OneIn(60)) path.insert(path.begin(), u'\\');
    return path;
  }
  Text ValueName() {
    if (OneIn(50)) return SomeText();
    if (OneIn(200)) return Text(16383 + Below(2), u'v');
    return Text(OneIn(4) ? OneOf(kValueNames) : kValueNames[Below(4)]);
  }
  std::string Registry() { return std::to_string(Below(3)); }
  std::string AnyRoot() { return OneIn(3) ? kCurrentUser : OneIn(30) ? "0" : kLocalMachine; }
  std::string Default() { return OneIn(6) ? "" : "manca"; }

  void Properties(const std::string& registry) {
    switch (Below(12)) {
      case 0:
        return Put({"CRegistry", registry});
      case 1:
      case 2:
        return Put({"Property", registry, "RitornaErrori", OneIn(10) ? "7" : OneIn(2) ? "-1" : "0"});
      case 3:
      case 4: {
        // Both, so that no branch lies outside the one that is cleared.
        const Text main = OneIn(3) ? Text() : Text(kBranch) + (OneIn(3) ? u"\\" : u"");
        Put({"Property", registry, "RamoPrincipale", Escape(main)});
        return Put({"Property", registry, "RamoPredefinito", Escape(OneIn(3) ? Text() : Path())});
      }
      default:
        // The usual state; another one lasts until here.
        Put({"Property", registry, "RamoPrincipale", Escape(kBranch)});
        Put({"Property", registry, "RamoPredefinito", Escape(kKeyNames[Below(5)])});
    }
  }

  void RegistryClass() {
    const std::string registry = Registry();
    const std::string sChiave = Escape(ValueName());
    switch (Below(24)) {
      case 0:
      case 1:
      case 2:
        return Properties(registry);
      case 3:
        return OneIn(2) ? Put({"CreaRamo", registry, Escape(Path())})
                        : Put({"CreaRamo", registry, Escape(Path()), OneIn(2) ? "" : Escape(Words(3))});
      case 4:
        return OneIn(2) ? Put({"CancellaRamo", registry, Escape(Path())})
                        : Put({"CancellaRamo", registry, Escape(Path()), OneIn(2) ? "" : Escape(Words(3))});
      case 5:
      case 6:
      case 7:
      case 8:
        return OneIn(3) ? Put({"LeggiRegistro", registry, sChiave})
                        : Put({"LeggiRegistro", registry, sChiave, Default()});
      case 9:
        return Put({"LeggiRegistroEx", registry, sChiave});
      case 10:
        return Put({"LeggiRegistroEx", registry, sChiave, AnyRoot()});
      case 11:
      case 12:
        return Put({"LeggiRegistroEx", registry, sChiave, AnyRoot(), OneIn(4) ? "" : Escape(Path()), Default()});
      case 13:
      case 14:
      case 15:
      case 16:
        return Put({"ScriviRegistroEx", registry, sChiave, Escape(SomeText())});
      case 17:
        return Put({"ScriviRegistroEx", registry, sChiave, Escape(SomeText()), AnyRoot()});
      case 18:
      case 19:
        return Put(
            {"ScriviRegistroEx", registry, sChiave, Escape(SomeText()), AnyRoot(), OneIn(4) ? "" : Escape(Path())});
      case 20:
        return Put(
            {"OneVariable", registry, OneIn(2) ? "LeggiRegistroEx" : "ScriviRegistroEx", AnyRoot(), Escape(Path())});
      case 21:
        return Put({"CancellaRegistro", registry, sChiave});
      case 22:
        return Put({"VerificaRamo", registry, Escape(Path())});
      default:
        return OneIn(2) ? Put({"VerificaRamoEx", registry, Escape(Path())})
                        : Put({"VerificaRamoEx", registry, Escape(Path()), AnyRoot()});
    }
  }

  void NativeLayer() {
    // Reads and writes more often than what takes away.
    constexpr std::int32_t kOperations[] = {1, 2, 2, 3, 4, 4, 4, 4, 5, 5, 5, 5, 6, 7};
    const std::int32_t operation =
        OneIn(50) ? static_cast<std::int32_t>(Below(12)) - 2 : kOperations[Below(std::size(kOperations))];
    constexpr std::int16_t kTypes[] = {1, 1, 1, 1, 2, 3, 4, 7, 0, 99, -1};
    // A path below an open handle, or one below a predefined root.
    const bool open = OneIn(4);
    Text path = open ? BelowBranch() : Path();
    if (open && OneIn(20)) path = Text(255 + Below(3), u'k');
    Put({"OperazioneRegistro", std::to_string(operation), open ? "open" : AnyRoot(), Escape(path), Escape(ValueName()),
         Escape(SomeText()), std::to_string(OneOf(kTypes))});
  }

  // The trace file.

  void Trace() {
    switch (Below(16)) {
      case 0:
        return Put({"SwitchTrace", OneIn(3) ? "off" : "folder"});
      case 1:
      case 2:
        return Put({"SwitchTrace", "on"});
      case 3:
      case 4:
        return Put({"TakeTrace"});
      case 5:
      case 6:
      case 7: {
        constexpr TextView kFolders[] = {u"C:\\", u"C:\\Dir",  u"C:\\Dir\\",  u"\\\\server\\share",
                                         u"",     u"\\\\\\\\", u"/opt/\u0416"};
        constexpr TextView kFiles[] = {u"a.log", u"\\a.log", u"", u"\\\\a", u"sub\\a.log"};
        return Put({"BuildPath", Escape(OneIn(6) ? SomeText() : Text(OneOf(kFolders))), Escape(OneOf(kFiles))});
      }
      default:
        return Put({"WriteLog", Escape(SomeText())});
    }
  }

  // Documents. The names of nodes are their numbers in order; those of the document at hand are first_ and above.

  std::string Node() { return std::to_string(first_ + Below(nodes_ - first_)); }

  Text XmlText() {
    // What no document can hold is asked for seldom: such characters are lost in different ways.
    return OneIn(120) ? Text(u"a\u0001\xD800z") : OneIn(5) ? Text() : Words(1) + Text(u"\u00E8 & <\u4E2D>");
  }

  // The document's one root element. With a text in it the document is written without indentation everywhere.
  void Root() {
    first_ = nodes_;
    const Text text = OneIn(12) ? Text() : Text(u"radice");
    Put({"AddXMLElement", "d", "document", Escape(OneOf(kElements)), Escape(text), std::to_string(nodes_++)});
  }

  void Load() {
    const Text name(kElements[Below(5)]);
    Text xml = u"<" + name +
               u" id=\"1 &amp; 2\" nome='\u00E8'>testo&#32;&lt;<voce/><!-- nota --><b c=\"d\">\u4E2D</b></" + name +
               u">";
    const bool whole = !OneIn(3);
    if (!whole) xml.erase(Below(xml.size()), 1 + Below(3));
    Put({"LoadXml", OneIn(40) ? "none" : "e", Escape(xml), Escape(name), "loaded"});
    Put({"GetXml", "node", "loaded"});
  }

  void Xml() {
    switch (Below(20)) {
      case 0:
        return Put({"CheckXMLParser"});
      case 1:
        if (!loads_) Put({"NewDocument", "e"});
        loads_ = true;
        return Load();
      case 2:
        Put({"GetXml", "document", "d"});
        Put({"NewDocument", "d"});
        return Root();
      case 3:  // something is missing
        return OneIn(2) ? Put({"AddXMLElement", "none", Node(), "voce", "", "missing"})
                        : Put({"AddXMLElement", "d", "missing", "voce", "", "missing"});
      case 4: {
        const Text name(OneIn(2) ? OneOf(kNoNames) : OneOf(kElements));
        return Put({"SetXMLAttribute", OneIn(4) ? "none" : "d", OneIn(3) ? "document" : Node(), Escape(name), "x"});
      }
      case 5:
        return Put({"AddXMLElement", "d", Node(), Escape(OneOf(kNoNames)), "", "missing"});
      case 6:
      case 7:
      case 8:
      case 9:
      case 10:
      case 11:
        return Put({"SetXMLAttribute", "d", Node(), Escape(OneOf(kAttributes)), Escape(XmlText())});
      case 12:
        return Put({"GetXml", "node", Node()});
      default: {
        const std::string parent = Node();
        return Put(
            {"AddXMLElement", "d", parent, Escape(OneOf(kElements)), Escape(XmlText()), std::to_string(nodes_++)});
      }
    }
  }

  void Base64() {
    if (OneIn(2)) return Put({"EncodeBase64", OneIn(4) ? "one" : "two", Escape(SomeText())});
    constexpr TextView kAlphabet = u"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    Text encoded(std::size_t{4} * Below(OneIn(10) ? 400 : 20), u'A');
    for (char16_t& unit : encoded) unit = kAlphabet[Below(kAlphabet.size())];
    if (!encoded.empty() && OneIn(2)) {
      encoded.back() = u'=';
      if (OneIn(2)) encoded[encoded.size() - 2] = u'=';
    }
    for (std::uint32_t i = OneIn(3) ? Below(6) : 0; i > 0; --i) {
      constexpr TextView kBlanks[] = {u" ", u"\t", u"\r\n", u"\n"};
      encoded.insert(Below(encoded.size() + 1), OneOf(kBlanks));
    }
    if (OneIn(5)) {  // no Base64, mostly
      constexpr TextView kWrong[] = {u"!", u"=", u"-", u"A", u"\u00E8", u"\uFF21"};
      encoded.insert(Below(encoded.size() + 1), OneOf(kWrong));
    }
    if (OneIn(20)) encoded += Text(1, u'\0') + u"coda";
    Put({"DecodeBase64", Escape(encoded)});
  }

  // Dates, values, templates.

  Text DateText() {
    constexpr TextView kMonths[] = {u"gennaio", u"dic", u"Marzo", u"set", u"december"};
    constexpr TextView kMarks[] = {u"/", u"-", u".", u" ", u"//", u", "};
    const Text mark(OneIn(2) ? u"/" : OneOf(kMarks));
    const Text month = OneIn(4) ? Text(OneOf(kMonths)) : Decimal(1 + Below(OneIn(8) ? 20 : 12));
    Text date = Decimal(1 + Below(OneIn(8) ? 40 : 28)) + mark + month;
    if (!OneIn(5)) date += mark + Decimal(OneIn(4) ? Below(120) : 1850 + Below(250));
    Text time = Decimal(Below(25)) + u":" + Decimal(Below(61));
    if (OneIn(2)) time += u":" + Decimal(Below(61));
    if (OneIn(6)) time += OneIn(2) ? u" PM" : u"am";
    switch (Below(10)) {
      case 0:
        return SomeText();
      case 1:
        return time;
      case 2:
        return time + u" " + date;
      case 3:
      case 4:
        return date + u" " + time;
      case 5:
        return (OneIn(2) ? u"luned\u00EC " : u"lunedi ") + date + (OneIn(3) ? Text(1, u'\0') + u"coda" : Text());
      default:
        return date;
    }
  }

  std::string Hexadecimal(std::uint64_t number, int digits) {
    std::string text;
    for (int shift = 4 * (digits - 1); shift >= 0; shift -= 4) text += "0123456789ABCDEF"[(number >> shift) & 0xF];
    return text;
  }

  double SomeDouble() {
    const double sign = OneIn(2) ? 1 : -1;
    switch (Below(5)) {
      case 0: {
        const double any = std::bit_cast<double>((std::uint64_t{random_()} << 32) | random_());
        return OneIn(8) && std::isfinite(any) ? any : 0;
      }
      case 1:
        return sign * Below(1'000'000'000) * (OneIn(2) ? 1000 : 1);
      default:
        return sign * Below(1'000'000'000) / (OneIn(2) ? 100 : 12345);
    }
  }

  std::string Value() {
    const std::uint64_t bits = ((std::uint64_t{random_()} << 32) | random_()) >> Below(64);
    const auto below = [&](int width) { return bits >> (64 - width); };
    switch (Below(22)) {
      case 0:
        return "empty";
      case 1:
        return OneIn(3) ? "null" : "empty";
      case 2:
        return OneIn(2) ? "boolean:0" : "boolean:-1";
      case 3:
        return "int8:" + std::to_string(static_cast<std::int8_t>(below(8)));
      case 4:
        return "uint8:" + std::to_string(below(8));
      case 5:
        return "int16:" + std::to_string(static_cast<std::int16_t>(bits));
      case 6:
        return "uint16:" + std::to_string(bits & 0xFFFF);
      case 7:
        return "int32:" + std::to_string(static_cast<std::int32_t>(bits));
      case 8:
        return "uint32:" + std::to_string(bits & 0xFFFFFFFF);
      case 9:
        return "int64:" + std::to_string(static_cast<std::int64_t>(bits));
      case 10:
        return "uint64:" + std::to_string(bits);
      case 11:
        return "single:" + Hexadecimal(std::bit_cast<std::uint32_t>(static_cast<float>(Below(10'000'000)) / 64), 8);
      case 12:
      case 13:
        return "double:" + Hexadecimal(std::bit_cast<std::uint64_t>(SomeDouble()), 16);
      case 14:
        return "currency:" + std::to_string(static_cast<std::int64_t>(bits));
      case 15:
      case 16: {
        // Seldom outside the years that can be written.
        const double days = static_cast<double>(Below(OneIn(20) ? 4'000'000'000 : 3'600'000)) - 657'000;
        const double date = days + (OneIn(2) ? 0 : Below(86'400) / 86'400.0);
        return "date:" + Hexadecimal(std::bit_cast<std::uint64_t>(date), 16);
      }
      case 17:
        return "decimal:" + std::to_string(Below(29)) + (OneIn(2) ? ",+," : ",-,") +
               std::to_string(OneIn(2) ? 0 : bits & 0xFFFFFFFF) + ',' + std::to_string(bits);
      case 18: {
        std::string bytes;
        for (std::uint32_t i = Below(20); i > 0; --i) bytes += static_cast<char>(Below(256));
        return "bytes:" + testing::ToHex(bytes);
      }
      default:
        return "text:" + Escape(OneIn(6) ? u"{" + Decimal(Below(4)) + u"}" : SomeText());
    }
  }

  void Template() {
    const std::int32_t lowerBound = OneIn(8) ? static_cast<std::int32_t>(Below(5)) - 2 : OneIn(40) ? 32765 : 0;
    Text text = Words(2);
    std::string line;
    const std::uint32_t count = Below(4);
    for (std::uint32_t i = 0; i < count + 1; ++i) {
      const std::string index = std::to_string(lowerBound + static_cast<std::int32_t>(Below(count + 1)));
      text += u"{" + Text(index.begin(), index.end()) + u"}" + Words(2);
    }
    line = "FormatTemplate\t" + Escape(text) + '\t' + std::to_string(lowerBound);
    for (std::uint32_t i = 0; i < count; ++i) line += '\t' + Value();
    script_.push_back(line);
  }

  void Other() {
    switch (Below(8)) {
      case 0:
        return Put({"GetGuid"});
      case 1: {
        const std::int32_t code =
            OneIn(2) ? ObjectErrorBase + static_cast<std::int32_t>(Below(5)) : static_cast<std::int32_t>(Below(9)) - 1;
        return Put({"GetErrorMessage", std::to_string(code)});
      }
      case 2:
        return Put({"PopulateRecordset", std::to_string(OneIn(4)), std::to_string(OneIn(4)),
                    OneIn(6)   ? "MoveLast"
                    : OneIn(6) ? "BOF"
                               : ""});
      case 3:
        return Put({"ValidateParam", OneIn(4) ? "" : Escape(SomeText()), Escape(Words(3))});
      default:
        return Put({"GetFieldValue", Value(), Default()});
    }
  }

  std::mt19937 random_;
  std::vector<std::string> script_;
  std::uint32_t first_ = 0;
  std::uint32_t nodes_ = 0;
  bool loads_ = false;
};

}  // namespace

std::vector<std::string> RandomScript(std::uint32_t seed, std::size_t operations) {
  return Maker(seed).Make(operations);
}

}  // namespace nerio::equal_answers

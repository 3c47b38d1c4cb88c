#include "tests/equal_answers/operations.h"

#include <algorithm>
#include <bit>
#include <charconv>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <utility>
#include <vector>

#include "nerio/registry/messages.h"
#include "nerio/registry/native_layer.h"
#include "nerio/support/base64.h"
#include "nerio/support/build_path.h"
#include "nerio/support/component_errors.h"
#include "nerio/support/conversions.h"
#include "nerio/support/messages.h"
#include "nerio/support/records.h"
#include "nerio/support/templates.h"
#include "nerio/support/trace_log.h"
#include "nerio/support/xml.h"
#include "nerio/types/utf8.h"
#include "tests/equal_answers/host_side.h"
#include "tests/equal_answers/script.h"
#include "tests/testing/tables.h"

namespace nerio::equal_answers {
namespace {

namespace fs = std::filesystem;

using platform::KeyHandle;
using testing::Escape;

template <typename Number>
Number Parse(std::string_view text, int base = 10) {
  Number number{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number, base);
  if (error != std::errc() || end != text.data() + text.size()) {
    throw std::runtime_error("no number: " + std::string(text));
  }
  return number;
}

std::string Show(TextView text) { return '"' + Escape(text) + '"'; }
std::string Show(const Text& text) { return Show(TextView(text)); }
std::string Show(Boolean value) { return std::to_string(static_cast<int>(value)); }

std::string Hexadecimal(std::uint64_t number) {
  std::string bytes;
  for (int shift = 56; shift >= 0; shift -= 8) bytes += static_cast<char>(number >> shift);
  return testing::ToHex(bytes);
}

// A value of any type, as the scripts write it: the type's name, ":", the value.
Variant VariantFrom(const std::string& written) {
  const std::size_t colon = written.find(':');
  const std::string type = written.substr(0, colon);
  const std::string value = colon == std::string::npos ? "" : written.substr(colon + 1);
  if (type == "empty") return Empty{};
  if (type == "null") return Null{};
  if (type == "boolean") return value == "0" ? False : True;
  if (type == "int8") return Parse<std::int8_t>(value);
  if (type == "uint8") return Parse<std::uint8_t>(value);
  if (type == "int16") return Parse<std::int16_t>(value);
  if (type == "uint16") return Parse<std::uint16_t>(value);
  if (type == "int32") return Parse<std::int32_t>(value);
  if (type == "uint32") return Parse<std::uint32_t>(value);
  if (type == "int64") return Parse<std::int64_t>(value);
  if (type == "uint64") return Parse<std::uint64_t>(value);
  if (type == "single") return std::bit_cast<float>(Parse<std::uint32_t>(value, 16));
  if (type == "double") return std::bit_cast<double>(Parse<std::uint64_t>(value, 16));
  if (type == "currency") return Currency{Parse<std::int64_t>(value)};
  if (type == "date") return Date{std::bit_cast<double>(Parse<std::uint64_t>(value, 16))};
  if (type == "text") return testing::Unescape(value);
  if (type == "decimal") {  // SCALE,SIGN,HIGH,LOW
    std::vector<std::string> parts;
    std::size_t start = 0;
    for (std::size_t comma; (comma = value.find(',', start)) != std::string::npos; start = comma + 1) {
      parts.push_back(value.substr(start, comma - start));
    }
    parts.push_back(value.substr(start));
    return Decimal{Parse<std::uint8_t>(parts.at(0)), parts.at(1) == "-", Parse<std::uint32_t>(parts.at(2)),
                   Parse<std::uint64_t>(parts.at(3))};
  }
  if (type == "bytes") {
    const std::string bytes = testing::FromHex(value);
    return Bytes(bytes.begin(), bytes.end());
  }
  throw std::runtime_error("no type of value: " + written);
}

struct Shown {
  std::string operator()(const Empty&) const { return "empty"; }
  std::string operator()(const Null&) const { return "null"; }
  std::string operator()(Boolean value) const { return "boolean:" + Show(value); }
  std::string operator()(std::int8_t value) const { return "int8:" + std::to_string(value); }
  std::string operator()(std::uint8_t value) const { return "uint8:" + std::to_string(value); }
  std::string operator()(std::int16_t value) const { return "int16:" + std::to_string(value); }
  std::string operator()(std::uint16_t value) const { return "uint16:" + std::to_string(value); }
  std::string operator()(std::int32_t value) const { return "int32:" + std::to_string(value); }
  std::string operator()(std::uint32_t value) const { return "uint32:" + std::to_string(value); }
  std::string operator()(std::int64_t value) const { return "int64:" + std::to_string(value); }
  std::string operator()(std::uint64_t value) const { return "uint64:" + std::to_string(value); }
  std::string operator()(float value) const { return "single:" + Hexadecimal(std::bit_cast<std::uint32_t>(value)); }
  std::string operator()(double value) const { return "double:" + Hexadecimal(std::bit_cast<std::uint64_t>(value)); }
  std::string operator()(Currency value) const { return "currency:" + std::to_string(value.tenThousandths); }
  std::string operator()(const Decimal& value) const {
    return "decimal:" + std::to_string(value.scale) + (value.negative ? ",-," : ",+,") + std::to_string(value.high) +
           ',' + std::to_string(value.low);
  }
  std::string operator()(Date value) const { return "date:" + Hexadecimal(std::bit_cast<std::uint64_t>(value.days)); }
  std::string operator()(const Text& value) const { return "text:" + Show(value); }
  std::string operator()(const Bytes& value) const { return "bytes:" + testing::ToHex({value.begin(), value.end()}); }
};

std::string Outcome(bool success, const std::string& result) { return (success ? "= " : "- ") + result; }

// Does a call whose answer is a text of its own, or the three fields of the error that it raises.
template <typename Call>
std::string Attempt(Call&& call) {
  try {
    return call();
  } catch (const Error& error) {
    return "! " + std::to_string(error.number()) + ' ' + Show(error.source()) + ' ' + Show(error.description());
  }
}

std::string ShowRoot(KeyHandle root) { return " root " + Hexadecimal(root).substr(8); }

// What must be the same in every GUID, each other hexadecimal digit an H.
std::string FormOf(const Text& guid) {
  std::string form;
  for (std::size_t i = 0; i < guid.size(); ++i) {
    const char16_t unit = guid[i];
    const bool digit = (unit >= u'0' && unit <= u'9') || (unit >= u'A' && unit <= u'F');
    if (i == 16) {
      form += Escape(TextView(&unit, 1));  // the version
    } else if (i == 19) {
      form += unit == u'8' || unit == u'9' || unit == u'A' || unit == u'B' ? 'V' : '?';  // the variant's two bits
    } else {
      form += digit ? "H" : Escape(TextView(&unit, 1));
    }
  }
  return form;
}

}  // namespace

// Reads the arguments of one operation in their order.
class Operations::Arguments {
 public:
  explicit Arguments(const std::string& operation) : operation_(operation) {}

  bool More() const { return next_ <= operation_.size(); }

  std::string Word() {
    if (!More()) throw std::runtime_error("too few arguments: " + operation_);
    const std::size_t end = std::min(operation_.find('\t', next_), operation_.size());
    std::string word = operation_.substr(next_, end - next_);
    next_ = end + 1;
    return word;
  }
  Text String() { return testing::Unescape(Word()); }
  Text StringOr(const Text& otherwise) { return More() ? String() : otherwise; }
  std::int32_t Number() { return Parse<std::int32_t>(Word()); }
  std::int16_t ShortNumber() { return Parse<std::int16_t>(Word()); }
  KeyHandle Root() { return Parse<KeyHandle>(Word(), 16); }

 private:
  const std::string& operation_;
  std::size_t next_ = 0;
};

Operations::Operations(const platform::Host& host, const fs::path& folder)
    : host_(host),
      traceFile_(folder / ToUtf8(kTraceFileName)),
      byName_{{"CRegistry", &Operations::NewRegistry},
              {"Property", &Operations::Property},
              {"CreaRamo", &Operations::CreaRamo},
              {"CancellaRamo", &Operations::CancellaRamo},
              {"LeggiRegistro", &Operations::LeggiRegistro},
              {"LeggiRegistroEx", &Operations::LeggiRegistroEx},
              {"ScriviRegistroEx", &Operations::ScriviRegistroEx},
              {"OneVariable", &Operations::OneVariable},
              {"CancellaRegistro", &Operations::CancellaRegistro},
              {"VerificaRamo", &Operations::VerificaRamo},
              {"VerificaRamoEx", &Operations::VerificaRamoEx},
              {"OperazioneRegistro", &Operations::NativeLayer},
              {"SwitchTrace", &Operations::SwitchTrace},
              {"TakeTrace", &Operations::TakeTrace},
              {"WriteLog", &Operations::WriteLog},
              {"BuildPath", &Operations::BuildPath},
              {"CheckXMLParser", &Operations::CheckXMLParser},
              {"NewDocument", &Operations::NewDocument},
              {"LoadXml", &Operations::LoadXml},
              {"AddXMLElement", &Operations::AddXMLElement},
              {"SetXMLAttribute", &Operations::SetXMLAttribute},
              {"GetXml", &Operations::GetXml},
              {"EncodeBase64", &Operations::EncodeBase64},
              {"DecodeBase64", &Operations::DecodeBase64},
              {"GetGuid", &Operations::GetGuid},
              {"GetDate", &Operations::GetDate},
              {"GetFieldValue", &Operations::GetFieldValue},
              {"PopulateRecordset", &Operations::PopulateRecordset},
              {"GetErrorMessage", &Operations::GetErrorMessage},
              {"FormatTemplate", &Operations::FormatTemplate},
              {"ValidateParam", &Operations::ValidateParam}} {}

std::string Operations::Answer(const std::string& operation) {
  Arguments arguments(operation);
  const auto found = byName_.find(arguments.Word());
  if (found == byName_.end()) throw std::runtime_error("no such operation: " + operation);
  std::string answer = (this->*found->second)(arguments);
  if (arguments.More()) throw std::runtime_error("too many arguments: " + operation);
  return answer;
}

CRegistry& Operations::Registry(Arguments& arguments) {
  return registries_.try_emplace(arguments.Word(), host_).first->second;
}

platform::XmlDocument& Operations::Document(Arguments& arguments) { return documents_[arguments.Word()]; }

platform::XmlNode& Operations::Node(Arguments& arguments) { return nodes_[arguments.Word()]; }

std::string Operations::NewRegistry(Arguments& arguments) {
  const std::string name = arguments.Word();
  const CRegistry& registry = registries_.insert_or_assign(name, CRegistry(host_)).first->second;
  return "= " + Show(registry.RamoPrincipale()) + ' ' + Show(registry.RamoPredefinito()) + ' ' +
         Show(registry.RitornaErrori());
}

std::string Operations::Property(Arguments& arguments) {
  CRegistry& registry = Registry(arguments);
  const std::string property = arguments.Word();
  if (property == "RitornaErrori") {
    registry.RitornaErrori(static_cast<Boolean>(arguments.ShortNumber()));
    return "= " + Show(registry.RitornaErrori());
  }
  const Text value = arguments.String();
  if (property == "RamoPrincipale") return registry.RamoPrincipale(value), "= " + Show(registry.RamoPrincipale());
  return registry.RamoPredefinito(value), "= " + Show(registry.RamoPredefinito());
}

std::string Operations::CreaRamo(Arguments& arguments) {
  CRegistry& registry = Registry(arguments);
  const Text sRamo = arguments.String();
  const auto answer = [](Boolean created) { return Outcome(created == True, Show(created)); };
  if (!arguments.More()) return Attempt([&] { return answer(registry.CreaRamo(sRamo)); });
  Text sCaption = arguments.String();
  return Attempt([&] { return answer(registry.CreaRamo(sRamo, sCaption)); }) + ' ' + Show(sCaption);
}

std::string Operations::CancellaRamo(Arguments& arguments) {
  CRegistry& registry = Registry(arguments);
  const Text sRamo = arguments.String();
  const auto answer = [](Boolean deleted) { return Outcome(deleted == True, Show(deleted)); };
  if (!arguments.More()) return Attempt([&] { return answer(registry.CancellaRamo(sRamo)); });
  Text sCaption = arguments.String();
  return Attempt([&] { return answer(registry.CancellaRamo(sRamo, sCaption)); }) + ' ' + Show(sCaption);
}

std::string Operations::LeggiRegistro(Arguments& arguments) {
  CRegistry& registry = Registry(arguments);
  const Text sChiave = arguments.String();
  if (!arguments.More()) {
    return Attempt([&] { return "= " + Show(registry.LeggiRegistro(sChiave)); });
  }
  const Text sDefault = arguments.String();
  return Attempt([&] {
    const Text read = registry.LeggiRegistro(sChiave, sDefault);
    return Outcome(read != sDefault, Show(read));
  });
}

std::string Operations::LeggiRegistroEx(Arguments& arguments) {
  CRegistry& registry = Registry(arguments);
  const Text sChiave = arguments.String();
  if (!arguments.More()) {
    return Attempt([&] { return "= " + Show(registry.LeggiRegistroEx(sChiave)); });
  }
  KeyHandle eHKEYRoot = arguments.Root();
  if (!arguments.More()) {
    return Attempt([&] { return "= " + Show(registry.LeggiRegistroEx(sChiave, eHKEYRoot)); }) + ShowRoot(eHKEYRoot);
  }
  Text sRamoLavoro = arguments.String();
  const Text sDefault = arguments.String();
  return Attempt([&] {
           const Text read = registry.LeggiRegistroEx(sChiave, eHKEYRoot, sRamoLavoro, sDefault);
           return Outcome(read != sDefault, Show(read));
         }) +
         ShowRoot(eHKEYRoot) + ' ' + Show(sRamoLavoro);
}

std::string Operations::ScriviRegistroEx(Arguments& arguments) {
  CRegistry& registry = Registry(arguments);
  const Text sChiave = arguments.String();
  const Text sValore = arguments.String();
  const auto answer = [](const Text& written) { return Outcome(written == u"True", Show(written)); };
  if (!arguments.More()) return Attempt([&] { return answer(registry.ScriviRegistroEx(sChiave, sValore)); });
  KeyHandle eHKEYRoot = arguments.Root();
  if (!arguments.More()) {
    return Attempt([&] { return answer(registry.ScriviRegistroEx(sChiave, sValore, eHKEYRoot)); }) +
           ShowRoot(eHKEYRoot);
  }
  Text sRamoLavoro = arguments.String();
  return Attempt([&] { return answer(registry.ScriviRegistroEx(sChiave, sValore, eHKEYRoot, sRamoLavoro)); }) +
         ShowRoot(eHKEYRoot) + ' ' + Show(sRamoLavoro);
}

// One variable for the name, the branch and the text.
std::string Operations::OneVariable(Arguments& arguments) {
  CRegistry& registry = Registry(arguments);
  const bool reads = arguments.Word() == "LeggiRegistroEx";
  KeyHandle eHKEYRoot = arguments.Root();
  Text variable = arguments.String();
  return Attempt([&] {
           return "= " + Show(reads ? registry.LeggiRegistroEx(variable, eHKEYRoot, variable, variable)
                                    : registry.ScriviRegistroEx(variable, variable, eHKEYRoot, variable));
         }) +
         ' ' + Show(variable);
}

std::string Operations::CancellaRegistro(Arguments& arguments) {
  CRegistry& registry = Registry(arguments);
  const Text sChiave = arguments.String();
  return Attempt([&] {
    const Boolean deleted = registry.CancellaRegistro(sChiave);
    return Outcome(deleted == True, Show(deleted));
  });
}

std::string Operations::VerificaRamo(Arguments& arguments) {
  CRegistry& registry = Registry(arguments);
  const Text sRamo = arguments.String();
  return Attempt([&] {
    const Boolean missing = registry.VerificaRamo(sRamo);
    return Outcome(missing == False, Show(missing));
  });
}

std::string Operations::VerificaRamoEx(Arguments& arguments) {
  CRegistry& registry = Registry(arguments);
  const Text sRamo = arguments.String();
  const auto answer = [](Boolean found) { return Outcome(found == True, Show(found)); };
  if (!arguments.More()) return Attempt([&] { return answer(registry.VerificaRamoEx(sRamo)); });
  KeyHandle eHKEYRoot = arguments.Root();
  return Attempt([&] { return answer(registry.VerificaRamoEx(sRamo, eHKEYRoot)); }) + ShowRoot(eHKEYRoot);
}

// The root "open" is a handle of the branch, opened for this operation.
std::string Operations::NativeLayer(Arguments& arguments) {
  std::int32_t operation = arguments.Number();
  const std::string rootWord = arguments.Word();
  Text path = arguments.String();
  Text valueName = arguments.String();
  Text valueData = arguments.String();
  std::int16_t valueType = arguments.ShortNumber();
  std::int16_t result = 0x5A5A;

  KeyHandle root = 0;
  if (rootWord != "open") {
    root = Parse<KeyHandle>(rootWord, 16);
  } else if (const platform::Status status = host_.registry.OpenKey(
                 platform::kHkeyLocalMachine, host_.codePage.ToAnsi(kBranch), 0, registry::REGISTRY_ACCESS, root);
             status != platform::kSuccess) {
    return "- the branch does not open: " + std::to_string(NumberOf(status));
  }
  const KeyHandle rootBefore = root;
  const std::int32_t operationBefore = operation;
  registry::OperazioneRegistro(operation, root, path, valueName, valueData, valueType, result, host_.registry,
                               host_.codePage);
  if (operation != operationBefore || root != rootBefore) throw std::runtime_error("operation or root were changed");
  if (rootWord == "open") host_.registry.CloseKey(root);
  return Outcome(result == 1, std::to_string(result) + ' ' + Show(path) + ' ' + Show(valueName) + ' ' +
                                  Show(valueData) + ' ' + std::to_string(valueType));
}

std::string Operations::SwitchTrace(Arguments& arguments) {
  const std::string way = arguments.Word();
  fs::remove(traceFile_);
  if (way == "on") std::ofstream(traceFile_, std::ios::binary).flush();
  if (way == "folder") fs::create_directory(traceFile_);
  return "= " + std::to_string(fs::exists(traceFile_));
}

// The records so far; the file begins anew.
std::string Operations::TakeTrace(Arguments&) {
  if (!fs::is_regular_file(traceFile_)) return "- no trace file";
  std::ifstream file(traceFile_, std::ios::binary);
  const std::string records((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  file.close();
  fs::resize_file(traceFile_, 0);
  return "= " + testing::ToHex(records);
}

std::string Operations::WriteLog(Arguments& arguments) {
  const Text message = arguments.String();
  return Attempt([&] {
    nerio::WriteLog(message, host_);
    return std::string("=");
  });
}

std::string Operations::BuildPath(Arguments& arguments) {
  const Text folder = arguments.String();
  const Text fileName = arguments.String();
  return "= " + Show(nerio::BuildPath(folder, fileName));
}

std::string Operations::CheckXMLParser(Arguments&) {
  const bool there = nerio::CheckXMLParser(host_);
  return Outcome(there, std::to_string(there));
}

std::string Operations::NewDocument(Arguments& arguments) {
  platform::XmlDocument& document = Document(arguments);
  return Attempt([&] {
    document = platform::XmlDocument(host_.xml, host_.xml.CreateDocument());
    return std::string("=");
  });
}

std::string Operations::LoadXml(Arguments& arguments) {
  const platform::XmlDocument document = Document(arguments);
  const Text xml = arguments.String();
  const Text rootName = arguments.String();
  platform::XmlNode& root = Node(arguments);
  return Attempt([&] {
    const bool loaded = host_.xml.LoadXml(document.get(), xml);
    root = platform::XmlNode(host_.xml, host_.xml.SelectSingleNode(document.get(), rootName));
    return Outcome(loaded, std::to_string(loaded) + (root ? " with a document element" : " without one"));
  });
}

std::string Operations::AddXMLElement(Arguments& arguments) {
  const platform::XmlDocument document = Document(arguments);
  const std::string parent = arguments.Word();
  const Text name = arguments.String();
  const Text text = arguments.String();
  platform::XmlNode& made = Node(arguments);
  return Attempt([&] {
    made = nerio::AddXMLElement(document, parent == "document" ? document : nodes_[parent], name, text);
    return "= " + Show(host_.xml.GetXml(made.get())) + ' ' + Show(host_.xml.GetText(made.get()));
  });
}

std::string Operations::SetXMLAttribute(Arguments& arguments) {
  const platform::XmlDocument document = Document(arguments);
  const std::string node = arguments.Word();
  const Text name = arguments.String();
  const Text value = arguments.String();
  return Attempt([&] {
    const platform::XmlNode& owner = node == "document" ? document : nodes_[node];
    nerio::SetXMLAttribute(document, owner, name, value);
    const platform::XmlReference map(host_.xml, host_.xml.Attributes(owner.get()));
    const platform::XmlReference attribute(host_.xml, host_.xml.GetNamedItem(map.get(), name));
    return "= " + Show(host_.xml.GetText(attribute.get()));
  });
}

std::string Operations::GetXml(Arguments& arguments) {
  const std::string kind = arguments.Word();
  const platform::XmlReference node = kind == "document" ? Document(arguments) : Node(arguments);
  return Attempt([&] { return "= " + Show(host_.xml.GetXml(node.get())); });
}

std::string Operations::EncodeBase64(Arguments& arguments) {
  const bool oneVariable = arguments.Word() == "one";
  Text text = arguments.String();
  Text encoded = u"come prima";
  Text& target = oneVariable ? text : encoded;
  const std::int32_t number = nerio::EncodeBase64(text, target, host_);
  return Outcome(number == 0, std::to_string(number) + ' ' + Show(target));
}

std::string Operations::DecodeBase64(Arguments& arguments) {
  const Text encoded = arguments.String();
  const Text text = nerio::DecodeBase64(encoded, host_);
  return Outcome(encoded.empty() == text.empty(), Show(text));
}

std::string Operations::GetGuid(Arguments&) { return "= " + FormOf(nerio::GetGuid(host_)); }

std::string Operations::GetDate(Arguments& arguments) {
  const Text text = arguments.String();
  const Text date = nerio::GetDate(text, host_);
  return Outcome(date == text, Show(date));
}

std::string Operations::GetFieldValue(Arguments& arguments) {
  const std::unique_ptr<platform::RecordField> field = MakeField(VariantFrom(arguments.Word()));
  const Text defaultText = arguments.String();
  return Attempt([&] { return "= " + std::visit(Shown(), nerio::GetFieldValue(*field, defaultText)); });
}

std::string Operations::PopulateRecordset(Arguments& arguments) {
  RecordSetState state;
  state.beforeFirst = arguments.Number() != 0;
  state.behindLast = arguments.Number() != 0;
  state.failing = arguments.Word();
  std::vector<std::string> calls;
  std::string answer = Attempt([&] {
    const std::unique_ptr<platform::RecordSet> records = MakeRecordSet(state, calls);
    nerio::PopulateRecordset(*records);
    return std::string("=");
  });
  for (const std::string& call : calls) answer += ' ' + call;
  return answer;
}

std::string Operations::GetErrorMessage(Arguments& arguments) {
  const std::int32_t code = arguments.Number();
  return "= " + Show(nerio::GetErrorMessage(code)) + ' ' + Show(registry::MessaggioErrore(code));
}

std::string Operations::FormatTemplate(Arguments& arguments) {
  const Text messageTemplate = arguments.String();
  ArgumentList list;
  list.lowerBound = arguments.Number();
  while (arguments.More()) list.values.push_back(VariantFrom(arguments.Word()));
  return Attempt([&] { return "= " + Show(nerio::FormatTemplate(messageTemplate, list, host_)); });
}

std::string Operations::ValidateParam(Arguments& arguments) {
  const Text value = arguments.String();
  const Text parameterName = arguments.String();
  return Attempt([&] {
    nerio::ValidateParam(value, parameterName, host_);
    return std::string("=");
  });
}

}  // namespace nerio::equal_answers

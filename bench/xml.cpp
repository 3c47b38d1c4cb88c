// Building an XML document call by call, beside the libraries that a program would use instead: elements with 3
// attributes and a text each, then one attribute of each set again, then the whole written as one text. Texts are
// UTF-16 throughout; for a library that takes UTF-8 each call converts, and so does the end. The contenders that end in
// _utf8 are given UTF-8 and leave it at that.

#include <benchmark/benchmark.h>
#include <libxml/tree.h>
#include <malloc.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <QDomDocument>
#include <cstdint>
#include <cstdio>
#include <pugixml.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "bench/side_by_side.h"
#include "nerio/platform/host.h"
#include "nerio/platform/xml_dom.h"
#include "nerio/support/xml.h"
#include "nerio/types/text.h"

namespace {

using nerio::Text;
using nerio::TextView;

// What one element is made of.
template <typename String>
struct Record {
  String code;
  String name;
  String state;
  String newState;
  String text;
};
using WideRecord = Record<Text>;
using NarrowRecord = Record<std::string>;

Text Widened(std::string_view ascii) { return {ascii.begin(), ascii.end()}; }

// Converts ASCII, which all texts here are, as fast as it goes: in favour of whoever needs it.
std::string ToUtf8(TextView text) {
  std::string narrow(text.size(), '\0');
  char16_t all = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    all = static_cast<char16_t>(all | text[i]);
    narrow[i] = static_cast<char>(text[i]);
  }
  return all < 0x80 ? narrow : std::string();
}

std::vector<NarrowRecord> MakeNarrow(std::size_t count) {
  std::vector<NarrowRecord> records;
  records.reserve(count);
  for (std::size_t i = 0; i < count; ++i) {
    const std::string number = std::to_string(i);
    records.push_back({number, "articolo " + number, "aperto", i % 2 == 0 ? "chiuso" : "sospeso",
                       "descrizione dell'articolo " + number});
  }
  return records;
}

std::vector<WideRecord> MakeWide(std::size_t count) {
  std::vector<WideRecord> records;
  records.reserve(count);
  for (const NarrowRecord& each : MakeNarrow(count)) {
    records.push_back(
        {Widened(each.code), Widened(each.name), Widened(each.state), Widened(each.newState), Widened(each.text)});
  }
  return records;
}

const std::vector<WideRecord>& WideRecords(std::size_t count) {
  static std::vector<WideRecord> records;
  if (records.size() != count) records = MakeWide(count);
  return records;
}

const std::vector<NarrowRecord>& NarrowRecords(std::size_t count) {
  static std::vector<NarrowRecord> records;
  if (records.size() != count) records = MakeNarrow(count);
  return records;
}

Text BuildByNerio(const std::vector<WideRecord>& records) {
  static const Text item = u"articolo";
  nerio::platform::XmlDom& dom = nerio::platform::ThisHost().xml;
  const nerio::platform::XmlDocument document(dom, dom.CreateDocument());
  const nerio::platform::XmlNode root = nerio::AddXMLElement(document, document, u"listino", u"");
  std::vector<nerio::platform::XmlNode> elements;
  elements.reserve(records.size());
  for (const WideRecord& record : records) {
    elements.push_back(nerio::AddXMLElement(document, root, item, record.text));
    nerio::SetXMLAttribute(document, elements.back(), u"codice", record.code);
    nerio::SetXMLAttribute(document, elements.back(), u"nome", record.name);
    nerio::SetXMLAttribute(document, elements.back(), u"stato", record.state);
  }
  for (std::size_t i = 0; i < records.size(); ++i) {
    nerio::SetXMLAttribute(document, elements[i], u"stato", records[i].newState);
  }
  return dom.GetXml(document.get());
}

// Gives pugixml a string as it wants it: UTF-8, ended by a NUL.
struct AsItIs {
  const char* operator()(const std::string& text) const { return text.c_str(); }
};
class Converted {
 public:
  explicit Converted(TextView text) : narrow_(ToUtf8(text)) {}
  operator const char*() const { return narrow_.c_str(); }

 private:
  std::string narrow_;
};
struct ByConversion {
  Converted operator()(TextView text) const { return Converted(text); }
};

struct Sink final : pugi::xml_writer {
  std::string text;
  void write(const void* data, std::size_t size) override { text.append(static_cast<const char*>(data), size); }
};

template <typename Give, typename Records, typename Names>
std::string BuildByPugi(const Records& records, const Names& names) {
  const Give give;
  pugi::xml_document document;
  pugi::xml_node root = document.append_child(give(names.root));
  std::vector<pugi::xml_node> elements;
  elements.reserve(records.size());
  const auto set = [&](pugi::xml_node element, const auto& name, const auto& value) {
    const auto& key = give(name);
    pugi::xml_attribute attribute = element.attribute(key);
    if (!attribute) attribute = element.append_attribute(key);
    attribute.set_value(give(value));
  };
  for (const auto& record : records) {
    elements.push_back(root.append_child(give(names.item)));
    elements.back().text().set(give(record.text));
    set(elements.back(), names.code, record.code);
    set(elements.back(), names.name, record.name);
    set(elements.back(), names.state, record.state);
  }
  for (std::size_t i = 0; i < records.size(); ++i) set(elements[i], names.state, records[i].newState);
  Sink sink;
  document.save(sink, "", pugi::format_raw | pugi::format_no_declaration);
  return std::move(sink.text);
}

template <typename String>
struct Names {
  String root;
  String item;
  String code;
  String name;
  String state;
};

Text BuildByPugiFromUtf16(const std::vector<WideRecord>& records) {
  static const Names<TextView> names{u"listino", u"articolo", u"codice", u"nome", u"stato"};
  return Widened(BuildByPugi<ByConversion>(records, names));
}

std::string BuildByPugiFromUtf8(const std::vector<NarrowRecord>& records) {
  static const Names<std::string> names{"listino", "articolo", "codice", "nome", "stato"};
  return BuildByPugi<AsItIs>(records, names);
}

const xmlChar* Xml(const char* text) { return reinterpret_cast<const xmlChar*>(text); }

std::string BuildByLibxml2(const std::vector<NarrowRecord>& records) {
  xmlDocPtr document = xmlNewDoc(Xml("1.0"));
  xmlNodePtr root = xmlNewNode(nullptr, Xml("listino"));
  xmlDocSetRootElement(document, root);
  std::vector<xmlNodePtr> elements;
  elements.reserve(records.size());
  for (const NarrowRecord& record : records) {
    elements.push_back(xmlNewTextChild(root, nullptr, Xml("articolo"), Xml(record.text.c_str())));
    xmlSetProp(elements.back(), Xml("codice"), Xml(record.code.c_str()));
    xmlSetProp(elements.back(), Xml("nome"), Xml(record.name.c_str()));
    xmlSetProp(elements.back(), Xml("stato"), Xml(record.state.c_str()));
  }
  for (std::size_t i = 0; i < records.size(); ++i) {
    xmlSetProp(elements[i], Xml("stato"), Xml(records[i].newState.c_str()));
  }
  xmlBufferPtr buffer = xmlBufferCreate();
  xmlNodeDump(buffer, document, root, 0, 0);
  std::string text(reinterpret_cast<const char*>(xmlBufferContent(buffer)),
                   static_cast<std::size_t>(xmlBufferLength(buffer)));
  xmlBufferFree(buffer);
  xmlFreeDoc(document);
  return text;
}

QString ToQt(TextView text) {
  return QString(reinterpret_cast<const QChar*>(text.data()), static_cast<int>(text.size()));
}

Text BuildByQt(const std::vector<WideRecord>& records) {
  QDomDocument document;
  QDomElement root = document.createElement(QStringLiteral("listino"));
  document.appendChild(root);
  std::vector<QDomElement> elements;
  elements.reserve(records.size());
  for (const WideRecord& record : records) {
    elements.push_back(document.createElement(QStringLiteral("articolo")));
    root.appendChild(elements.back());
    elements.back().appendChild(document.createTextNode(ToQt(record.text)));
    elements.back().setAttribute(QStringLiteral("codice"), ToQt(record.code));
    elements.back().setAttribute(QStringLiteral("nome"), ToQt(record.name));
    elements.back().setAttribute(QStringLiteral("stato"), ToQt(record.state));
  }
  for (std::size_t i = 0; i < records.size(); ++i) {
    elements[i].setAttribute(QStringLiteral("stato"), ToQt(records[i].newState));
  }
  const QString text = document.toString(-1);
  return {reinterpret_cast<const char16_t*>(text.utf16()), static_cast<std::size_t>(text.size())};
}

// Contenders end their lines differently and order attributes as they like: the answer is right when it holds as many
// elements and, spread over the document, what was set last.
template <typename Answer, typename Records>
bool IsRight(const Answer& xml, const Records& records) {
  using Unit = typename Answer::value_type;
  const auto ascii = [](std::string_view text) { return Answer(text.begin(), text.end()); };
  const Answer end = ascii("</articolo>");
  std::size_t count = 0;
  for (std::size_t at = xml.find(end); at != Answer::npos; at = xml.find(end, at + end.size())) ++count;
  if (count != records.size()) return false;
  std::size_t at = 0;
  for (const auto& record : records) {
    const std::size_t start = xml.find(ascii("<articolo "), at);
    at = xml.find(end, start);
    if (start == Answer::npos || at == Answer::npos) return false;
    const std::basic_string_view<Unit> element(xml.data() + start, at - start);
    for (const Answer& expected :
         {ascii("codice=\"") + record.code + ascii("\""), ascii("nome=\"") + record.name + ascii("\""),
          ascii("stato=\"") + record.newState + ascii("\"")}) {
      if (element.find(expected) == element.npos) return false;
    }
    if (!element.ends_with(ascii(">") + record.text)) return false;
  }
  return true;
}

template <typename Build, typename Records>
void Measure(benchmark::State& state, Build build, const Records& records) {
  if (!IsRight(build(records), records)) return state.SkipWithError("built another document");
  for (auto _ : state) {
    auto xml = build(records);
    benchmark::DoNotOptimize(xml.data());
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

std::size_t CountOf(const benchmark::State& state) { return static_cast<std::size_t>(state.range(0)); }

template <typename Answer>
auto Wide(Answer (*build)(const std::vector<WideRecord>&)) {
  return [build](benchmark::State& state) { Measure(state, build, WideRecords(CountOf(state))); };
}

template <typename Answer>
auto Narrow(Answer (*build)(const std::vector<NarrowRecord>&)) {
  return [build](benchmark::State& state) { Measure(state, build, NarrowRecords(CountOf(state))); };
}

constexpr std::int64_t kCount = 100'000;

long PeakKilobytes() {
  rusage usage{};
  ::getrusage(RUSAGE_SELF, &usage);
  return usage.ru_maxrss;
}

// Does the job once in a process of its own. Returns how far above the start its memory rose, in MiB; 0 when it failed.
double PeakMebibytes() {
  const std::vector<WideRecord> records = MakeWide(kCount);
  int ends[2];
  if (::pipe(ends) != 0) return 0;
  const pid_t child = ::fork();
  if (child == 0) {
    ::malloc_trim(0);
    const long before = PeakKilobytes();
    const bool built = !BuildByNerio(records).empty();
    const long grown = built ? PeakKilobytes() - before : 0;
    const bool told = ::write(ends[1], &grown, sizeof grown) == sizeof grown;
    ::_exit(told ? 0 : 1);
  }
  long grown = 0;
  ::close(ends[1]);
  const bool told = ::read(ends[0], &grown, sizeof grown) == sizeof grown;
  ::close(ends[0]);
  ::waitpid(child, nullptr, 0);
  return told ? static_cast<double>(grown) / 1024 : 0;
}

constexpr double kMostMebibytes = 75;

}  // namespace

int main(int argc, char** argv) {
  using nerio::bench::Contender;
  // First, while the heap holds nothing that the job could use again.
  const double peak = PeakMebibytes();
  std::printf("peak memory of %ld elements: %.1f MiB (bound %.0f)\n", static_cast<long>(kCount), peak, kMostMebibytes);

  for (std::int64_t count = 10; count <= 1'000'000; count *= 10) {
    Contender("xml/nerio", Wide(BuildByNerio))->Arg(count);
    Contender("xml/pugixml_utf16", Wide(BuildByPugiFromUtf16))->Arg(count);
  }
  Contender("xml/pugixml_utf8", Narrow(BuildByPugiFromUtf8))->Arg(kCount);
  Contender("xml/libxml2_utf8", Narrow(BuildByLibxml2))->Arg(kCount);
  Contender("xml/qt", Wide(BuildByQt))->Arg(kCount);
  const int status = nerio::bench::RunSideBySide(argc, argv);
  return peak > 0 && peak <= kMostMebibytes ? status : 1;
}

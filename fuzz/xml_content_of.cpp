#include "fuzz/xml_content_of.h"

#include <expat.h>
#include <libxml/parser.h>

#include <algorithm>
#include <memory>
#include <utility>
#include <vector>

#include "nerio/hosts/portable/xml/xml_parser.h"
#include "nerio/hosts/portable/xml/xml_tree.h"
#include "nerio/types/utf8.h"

namespace nerio::fuzz {
namespace {

using Attributes = std::vector<std::pair<std::string, std::string>>;

// Writes what a parser tells, in the one form.
class Writer {
 public:
  void Start(std::string_view name, Attributes attributes) {
    Line('<', name);
    std::sort(attributes.begin(), attributes.end());
    for (const auto& [attribute, value] : attributes) {
      if (attribute == "xmlns:xml") continue;
      Line('@', attribute);
      Line('=', value);
    }
  }
  void End() { Line('>', ""); }
  void Characters(std::string_view text) {
    if (kind_ != '"') EndText();
    kind_ = '"';
    text_ += text;
  }
  void CData(std::string_view text) {
    if (kind_ != '[') EndText();
    kind_ = '[';
    text_ += text;
  }
  void Comment(std::string_view text) { Line('!', text); }
  void Instruction(std::string_view target, std::string_view data) {
    Line('?', target);
    Line(' ', data);
  }
  std::string Take() {
    EndText();
    return std::move(written_);
  }

 private:
  void EndText() {
    const bool blank = text_.find_first_not_of(" \t\r\n") == std::string::npos;
    const char kind = std::exchange(kind_, '\0');
    if (kind != '\0' && !(kind == '"' ? blank : text_.empty())) (written_ += kind) += text_ + '\n';
    text_.clear();
  }
  void Line(char kind, std::string_view text) {
    EndText();
    ((written_ += kind) += text) += '\n';
  }

  std::string written_;
  std::string text_;
  char kind_ = '\0';  // of the text that is being told
};

// Ends an element, and all that it is the last child of.
template <typename Node, typename IsElement>
void EndAfter(Writer& writer, Node* node, Node* top, IsElement isElement) {
  for (Node* parent = node->parent; node != top && node->next == nullptr && parent != nullptr;
       node = parent, parent = node->parent) {
    if (isElement(parent)) writer.End();
  }
}

Attributes AttributesOf(const platform::xml::Element& element) {
  Attributes attributes;
  for (auto* node = element.attributes.first; node != nullptr; node = node->next) {
    auto* const attribute = static_cast<platform::xml::NamedValue*>(node);
    attributes.emplace_back(ToUtf8(attribute->name->View()), ToUtf8(attribute->View()));
  }
  return attributes;
}

void Tell(Writer& writer, platform::xml::Node& node) {
  using platform::xml::Kind;
  switch (node.kind) {
    case Kind::kElement: {
      auto& element = static_cast<platform::xml::Element&>(node);
      writer.Start(ToUtf8(element.name->View()), AttributesOf(element));
      if (element.children.first == nullptr) writer.End();
      break;
    }
    case Kind::kInstruction: {
      auto& instruction = static_cast<platform::xml::NamedValue&>(node);
      writer.Instruction(ToUtf8(instruction.name->View()), ToUtf8(instruction.View()));
      break;
    }
    case Kind::kText:
      writer.Characters(ToUtf8(static_cast<platform::xml::Value&>(node).View()));
      break;
    case Kind::kBytesText:
      writer.Characters(ToUtf8(static_cast<platform::xml::BytesText&>(node).Written()));
      break;
    case Kind::kCData:
      writer.CData(ToUtf8(static_cast<platform::xml::Value&>(node).View()));
      break;
    case Kind::kComment:
      writer.Comment(ToUtf8(static_cast<platform::xml::Value&>(node).View()));
      break;
    case Kind::kDocument:
    case Kind::kAttribute:
    case Kind::kDeclaration:
      break;
  }
}

struct ExpatDeleter {
  void operator()(XML_Parser parser) const { ::XML_ParserFree(parser); }
};
using ExpatParser = std::unique_ptr<XML_ParserStruct, ExpatDeleter>;

// What expat tells goes here.
struct ExpatReader {
  Writer writer;
  bool inCData = false;
  bool doctype = false;
};

ExpatReader& ReaderOf(void* data) { return *static_cast<ExpatReader*>(data); }

void ListenToExpat(XML_Parser parser, ExpatReader& reader) {
  ::XML_SetUserData(parser, &reader);
  ::XML_SetElementHandler(
      parser,
      [](void* data, const XML_Char* name, const XML_Char** each) {
        Attributes attributes;
        for (; *each != nullptr; each += 2) attributes.emplace_back(each[0], each[1]);
        ReaderOf(data).writer.Start(name, std::move(attributes));
      },
      [](void* data, const XML_Char*) { ReaderOf(data).writer.End(); });
  ::XML_SetCharacterDataHandler(parser, [](void* data, const XML_Char* text, int length) {
    ExpatReader& to = ReaderOf(data);
    const std::string_view piece(text, static_cast<std::size_t>(length));
    to.inCData ? to.writer.CData(piece) : to.writer.Characters(piece);
  });
  ::XML_SetCdataSectionHandler(
      parser,
      [](void* data) {
        ReaderOf(data).writer.CData("");
        ReaderOf(data).inCData = true;
      },
      [](void* data) { ReaderOf(data).inCData = false; });
  ::XML_SetCommentHandler(parser, [](void* data, const XML_Char* text) { ReaderOf(data).writer.Comment(text); });
  ::XML_SetProcessingInstructionHandler(parser, [](void* data, const XML_Char* target, const XML_Char* text) {
    ReaderOf(data).writer.Instruction(target, text);
  });
  ::XML_SetStartDoctypeDeclHandler(parser, [](void* data, const XML_Char*, const XML_Char*, const XML_Char*, int) {
    ReaderOf(data).doctype = true;
  });
}

bool ParseByExpat(XML_Parser parser, const std::string& xml) {
  return ::XML_Parse(parser, xml.data(), static_cast<int>(xml.size()), 1) == XML_STATUS_OK;
}

std::string NameOf(const xmlChar* name, const xmlNs* space) {
  const auto text = [](const xmlChar* units) { return std::string(reinterpret_cast<const char*>(units)); };
  return space != nullptr && space->prefix != nullptr ? text(space->prefix) + ':' + text(name) : text(name);
}

std::string TextOf(const xmlChar* text) {
  return text != nullptr ? std::string(reinterpret_cast<const char*>(text)) : std::string();
}

void Tell(Writer& writer, xmlNode& node) {
  switch (node.type) {
    case XML_ELEMENT_NODE: {
      Attributes attributes;
      for (const xmlNs* space = node.nsDef; space != nullptr; space = space->next) {
        attributes.emplace_back(space->prefix != nullptr ? "xmlns:" + TextOf(space->prefix) : "xmlns",
                                TextOf(space->href));
      }
      for (const xmlAttr* attribute = node.properties; attribute != nullptr; attribute = attribute->next) {
        std::string value;
        for (const xmlNode* part = attribute->children; part != nullptr; part = part->next) {
          value += TextOf(part->content);
        }
        attributes.emplace_back(NameOf(attribute->name, attribute->ns), value);
      }
      writer.Start(NameOf(node.name, node.ns), std::move(attributes));
      if (node.children == nullptr) writer.End();
      break;
    }
    case XML_TEXT_NODE:
      writer.Characters(TextOf(node.content));
      break;
    case XML_CDATA_SECTION_NODE:
      writer.CData(TextOf(node.content));
      break;
    case XML_COMMENT_NODE:
      writer.Comment(TextOf(node.content));
      break;
    case XML_PI_NODE:
      writer.Instruction(TextOf(node.name), TextOf(node.content));
      break;
    default:
      break;
  }
}

}  // namespace

Content ContentOf(TextView xml) {
  auto* const tree = new platform::xml::Tree;
  // The last handle ends the tree.
  platform::xml::HeldNode* const held = platform::xml::Tree::Hold(tree->Root());
  Content content;
  if (platform::XmlLoadError error; platform::xml::Parse(xml, *tree, error)) {
    Writer writer;
    platform::xml::Node* const top = &tree->Root();
    for (platform::xml::Node* node = top; node != nullptr; node = platform::xml::Following(node, top)) {
      Tell(writer, *node);
      const platform::xml::Parent* const parent = platform::xml::AsParent(node);
      if (parent == nullptr || parent->children.first == nullptr) {
        EndAfter<platform::xml::Node>(writer, node, top,
                                      [](auto* each) { return each->kind == platform::xml::Kind::kElement; });
      }
    }
    content = writer.Take();
  }
  platform::xml::Tree::LetGo(*held);
  return content;
}

Content ContentByExpat(const std::string& xml) {
  // Once for the rules of namespaces, once for the names as they are written. The names of namespaces may not hold the
  // separator unless a URI may.
  if (!ParseByExpat(ExpatParser(::XML_ParserCreateNS("UTF-8", '!')).get(), xml)) return std::nullopt;
  const ExpatParser parser(::XML_ParserCreate("UTF-8"));
  ExpatReader reader;
  ListenToExpat(parser.get(), reader);
  if (!ParseByExpat(parser.get(), xml) || reader.doctype) return std::nullopt;
  return reader.writer.Take();
}

Content ContentByLibxml2(const std::string& xml) {
  const std::unique_ptr<xmlParserCtxt, decltype(&::xmlFreeParserCtxt)> context(::xmlNewParserCtxt(),
                                                                               &::xmlFreeParserCtxt);
  bool refused = false;
  context->_private = &refused;
  context->sax->serror = [](void* data, xmlError* error) {
    // That the name of a namespace is no URI is what libxml2 alone looks at.
    if (error->domain != XML_FROM_NAMESPACE || error->code == XML_WAR_NS_URI ||
        error->code == XML_WAR_NS_URI_RELATIVE) {
      return;
    }
    *static_cast<bool*>(static_cast<xmlParserCtxt*>(data)->_private) = true;
  };
  // Without XML_PARSE_NOENT the name of a namespace keeps "&#38;" as it is.
  const int options = XML_PARSE_NONET | XML_PARSE_NOENT | XML_PARSE_NOERROR | XML_PARSE_NOWARNING | XML_PARSE_HUGE |
                      XML_PARSE_OLD10 | XML_PARSE_IGNORE_ENC;
  const std::unique_ptr<xmlDoc, decltype(&::xmlFreeDoc)> document(
      ::xmlCtxtReadMemory(context.get(), xml.data(), static_cast<int>(xml.size()), nullptr, "UTF-8", options),
      &::xmlFreeDoc);
  if (document == nullptr || context->wellFormed == 0 || refused) return std::nullopt;
  if (document->intSubset != nullptr) return std::nullopt;
  Writer writer;
  auto* const top = reinterpret_cast<xmlNode*>(document.get());
  for (xmlNode* node = document->children; node != nullptr;) {
    Tell(writer, *node);
    if (node->type == XML_ELEMENT_NODE && node->children != nullptr) {
      node = node->children;
      continue;
    }
    EndAfter<xmlNode>(writer, node, top, [](auto* each) { return each->type == XML_ELEMENT_NODE; });
    while (node->next == nullptr && node->parent != top) node = node->parent;
    node = node->next;
  }
  return writer.Take();
}

}  // namespace nerio::fuzz

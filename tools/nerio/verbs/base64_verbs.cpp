#include <nlohmann/json.hpp>

#include "nerio/support/base64.h"
#include "nerio/types/utf8.h"
#include "tools/nerio/files.h"
#include "tools/nerio/registry/value_text.h"
#include "tools/nerio/verbs/arguments.h"

namespace nerio::tool {
namespace {

struct Base64Options {
  std::optional<std::string> text;
  bool bytes = false;
};

// An element that carries bytes as Base64.
class ByteElement {
 public:
  explicit ByteElement(platform::XmlDom& dom)
      : dom_(dom), document_(dom, dom.CreateDocument()), element_(dom, dom.CreateElement(document_.get(), u"TEMP")) {
    dom.PutDataType(element_.get(), u"bin.base64");
  }

  Text Encode(const std::string& bytes) {
    dom_.PutNodeTypedValue(element_.get(), {reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size()});
    return dom_.GetText(element_.get());
  }

  std::string Decode(const Text& encoded) {
    try {
      dom_.PutText(element_.get(), encoded);
      const auto bytes = std::get<nerio::Bytes>(dom_.GetNodeTypedValue(element_.get()));
      return {bytes.begin(), bytes.end()};
    } catch (const Error& error) {
      throw Failure(Exit::kBadInput, "this is not Base64",
                    "Base64 is A-Z a-z 0-9 + / in groups of four, = at the end only")
          .WithError(error);
    }
  }

 private:
  platform::XmlDom& dom_;
  platform::XmlDocument document_;
  platform::XmlNode element_;
};

Exit Encode(Session& session, const Base64Options& options) {
  const std::string input = options.text ? *options.text : ReadStandardInput(session);
  Text encoded;
  if (options.bytes) {
    encoded = ByteElement(session.host.xml).Encode(input);
  } else {
    const Text text = TextOf(input, options.text ? "the text" : "standard input");
    const std::int32_t number = EncodeBase64(text, encoded, session.host);
    if (number != 0) {
      throw Failure(Exit::kFailed, "EncodeBase64 answers error " + std::to_string(number)).WithStatus(number);
    }
  }
  session.output.Result({{"base64", ToUtf8(encoded)}}, ToUtf8(encoded));
  return Exit::kDone;
}

Exit Decode(Session& session, const Base64Options& options) {
  const std::string input = options.text ? *options.text : ReadStandardInput(session);
  const Text encoded = TextOf(input, options.text ? "the Base64 text" : "standard input");
  if (encoded.find(u'\0') != Text::npos) throw Failure(Exit::kBadInput, "this is not Base64: it holds a NUL");
  const std::string bytes = ByteElement(session.host.xml).Decode(encoded);
  if (options.bytes) {
    if (session.output.json()) {
      session.output.Result({{"bytes", HexText(bytes, "")}}, {});
    } else {
      session.output.Bytes(bytes);
    }
    return Exit::kDone;
  }
  const Text text = DecodeBase64(encoded, session.host);
  const std::string utf8 = ToUtf8(text);
  if (bytes.size() % 2 != 0)
    session.output.Say("an odd number of bytes, the last of which is not a character; --bytes gives all");
  if (FromUtf8(utf8) != text) session.output.Say("these bytes are not text in UTF-16; --bytes gives them as they are");
  session.output.Result({{"text", utf8}}, utf8);
  return Exit::kDone;
}

}  // namespace

void AddBase64Verbs(Verb program) {
  Verb base64 = program.Group("base64", "Turn text into Base64 and back",
                              "nerio base64 encode prova\n"
                              "nerio base64 decode cAByAG8AdgBhAA==");
  const auto encode = std::make_shared<Base64Options>();
  Verb verb = base64.Leaf("encode", "Encode a text: its UTF-16 code units, low byte first",
                          "nerio base64 encode A                      gives QQA=\n"
                          "nerio base64 encode --bytes < immagine.png",
                          encode, Encode);
  verb.Optional("TEXT", encode->text, "Text to encode; without it all of standard input");
  verb.Switch("--bytes", encode->bytes, "Encode the bytes as they are");
  const auto decode = std::make_shared<Base64Options>();
  verb = base64.Leaf("decode", "Decode Base64 into the text that it was made from",
                     "nerio base64 decode QQA=                   gives A\n"
                     "nerio base64 decode --bytes < immagine.b64 > immagine.png",
                     decode, Decode);
  verb.Optional("TEXT", decode->text, "Base64; without it all of standard input");
  verb.Switch("--bytes", decode->bytes, "Give the bytes as they are");
}

}  // namespace nerio::tool

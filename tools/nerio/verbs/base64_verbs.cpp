#include <nlohmann/json.hpp>

#include "nerio/support/base64.h"
#include "nerio/types/utf8.h"
#include "tools/nerio/files.h"
#include "tools/nerio/progress.h"
#include "tools/nerio/registry/value_text.h"
#include "tools/nerio/verbs/arguments.h"
#include "tools/nerio/verbs/base64_pieces.h"

namespace nerio::tool {
namespace {

struct Base64Options {
  std::optional<std::string> text;
  bool bytes = false;
};

void SayWhatIsNoText(Session& session, bool oddByte, bool isText) {
  if (oddByte) session.output.Say("an odd number of bytes, the last of which is not a character; --bytes gives all");
  if (!isText) session.output.Say("these bytes are not text in UTF-16; --bytes gives them as they are");
}

// Takes standard input piece by piece and writes what `put` makes of each. What was made of the last piece waits until
// the next one was taken, so that a small input is answered whole or not at all.
template <typename Put, typename End>
void WorkPiecewise(Session& session, const char* doing, Put put, End end) {
  std::string waiting;
  bool begun = false;
  Progress progress(session, doing, Progress::Results::kMeanwhile);
  const std::uint64_t all = progress.IsShown() ? SizeOfStandardInput(session) : 0;
  std::uint64_t done = 0;
  const auto write = [&] {
    begun = begun || !waiting.empty();
    session.output.Bytes(waiting);
    return session.output.Flush();
  };
  try {
    for (std::string piece; ReadPiece(session, piece);) {
      std::string made = put(piece);
      // Nobody takes any more; that is told where the program ends.
      if (!write()) return;
      waiting = std::move(made);
      done += piece.size();
      if (all > 0) {
        progress.At(done, all);
      } else {
        progress.AtBytes(done);
      }
    }
    waiting += end();
    write();
  } catch (const Failure& failure) {
    if (!begun) throw;
    throw Failure(failure.exit(), std::string(failure.what()) + "; the output is incomplete", failure.advice());
  }
}

Exit EncodePiecewise(Session& session, bool bytes) {
  Base64Encoder encoder(session.host.xml);
  Utf8Pieces text;
  WorkPiecewise(
      session, "encoding", [&](const std::string& piece) { return encoder.Put(bytes ? piece : text.Put(piece)); },
      [&] {
        text.End();
        return encoder.End() + "\n";
      });
  return Exit::kDone;
}

Exit DecodePiecewise(Session& session, bool bytes) {
  Base64Decoder decoder(session.host.xml);
  Utf16Pieces text;
  WorkPiecewise(
      session, "decoding",
      [&](const std::string& piece) {
        std::string decoded = decoder.Put(piece);
        return bytes ? decoded : text.Put(decoded);
      },
      [&] {
        decoder.End();
        if (bytes) return std::string();
        std::string last = text.End() + "\n";
        SayWhatIsNoText(session, text.EndedWithAByte(), text.WasText());
        return last;
      });
  return Exit::kDone;
}

// Tells whether Base64 comes in one line, so that what is made of pieces can be put together.
bool WritesOneLine(platform::XmlDom& dom) {
  return ByteElement(dom).Encode(std::string(300, '.')).find(u'\n') == Text::npos;
}

Exit Encode(Session& session, const Base64Options& options) {
  if (!options.text && !session.output.json() && WritesOneLine(session.host.xml)) {
    return EncodePiecewise(session, options.bytes);
  }
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
  if (!options.text && !session.output.json()) return DecodePiecewise(session, options.bytes);
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
  SayWhatIsNoText(session, bytes.size() % 2 != 0, FromUtf8(utf8) == text);
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
                          "nerio base64 encode A                       # gives QQA=\n"
                          "nerio base64 encode --bytes < immagine.png",
                          encode, Encode);
  verb.Optional("TEXT", encode->text, "Text to encode; without it all of standard input");
  verb.Switch("--bytes", encode->bytes, "Encode the bytes as they are");
  const auto decode = std::make_shared<Base64Options>();
  verb = base64.Leaf("decode", "Decode Base64 into the text that it was made from",
                     "nerio base64 decode QQA=                    # gives A\n"
                     "nerio base64 decode --bytes < immagine.b64 > immagine.png",
                     decode, Decode);
  verb.Optional("TEXT", decode->text, "Base64; without it all of standard input");
  verb.Switch("--bytes", decode->bytes, "Give the bytes as they are");
}

}  // namespace nerio::tool

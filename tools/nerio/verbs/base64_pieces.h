#pragma once

#include <string>
#include <string_view>

#include "nerio/platform/xml_dom.h"
#include "nerio/types/text.h"

namespace nerio::tool {

/// An element that carries bytes as Base64.
class ByteElement {
 public:
  explicit ByteElement(platform::XmlDom& dom);

  Text Encode(std::string_view bytes);
  /// @throws Failure kBadInput when the text is not Base64.
  std::string Decode(TextView encoded);

 private:
  platform::XmlDom& dom_;
  platform::XmlDocument document_;
  platform::XmlNode element_;
};

/// Encodes bytes that come in pieces. Serves where the DOM writes Base64 in one line.
class Base64Encoder {
 public:
  explicit Base64Encoder(platform::XmlDom& dom) : element_(dom) {}

  /// Takes a piece. Returns what can be written of it.
  std::string Put(std::string_view bytes);
  /// Returns what is left to write.
  std::string End();

 private:
  ByteElement element_;
  std::string left_;  // up to two bytes
};

/// Decodes Base64 that comes in pieces, blanks, tabs and line ends anywhere in them.
class Base64Decoder {
 public:
  explicit Base64Decoder(platform::XmlDom& dom) : element_(dom) {}

  /// Takes a piece. Returns the bytes that are known. @throws Failure kBadInput when it is not Base64, as `End`.
  std::string Put(std::string_view piece);
  /// Makes sure that the last group was whole.
  void End();

 private:
  ByteElement element_;
  Text left_;            // up to three characters
  bool padded_ = false;  // nothing may follow but blanks
};

/// Turns UTF-8 that comes in pieces into the bytes of its UTF-16 code units, low byte first.
class Utf8Pieces {
 public:
  /// @throws Failure kBadInput when standard input, which this is, is not UTF-8, as `End`.
  std::string Put(std::string_view piece);
  void End();

 private:
  std::string left_;  // the beginning of a character
};

/// Turns bytes that come in pieces, those of UTF-16 code units, low byte first, into UTF-8.
class Utf16Pieces {
 public:
  std::string Put(std::string_view piece);
  std::string End();

  /// Tells, after `End`, whether there was a last byte without another.
  bool EndedWithAByte() const { return !left_.empty(); }
  /// Tells whether all code units made characters.
  bool WasText() const { return wasText_; }

 private:
  std::string Written(std::size_t bytes);

  std::string left_;  // a byte, a first half of a pair of surrogates, or both
  bool wasText_ = true;
};

}  // namespace nerio::tool

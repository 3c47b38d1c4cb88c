#include "tests/testing/recorder.h"

#include <iomanip>
#include <type_traits>

namespace nerio::testing {

using platform::KeyHandle;
using platform::SecurityAttributes;
using platform::Status;

namespace {

constexpr std::size_t kShownBytes = 60;

// Writes one call as it would stand in a program, numbers in hexadecimal digits and the middle of long bytes left out.
class CallPrinter {
 public:
  explicit CallPrinter(std::ostream& out) : out_(out) {}

  void operator()(const OpenKeyCall& call) { Line("OpenKey", call.root, call.subKey, call.options, call.access); }
  void operator()(const CreateKeyCall& call) {
    Line("CreateKey", call.root, call.subKey, call.reserved, call.keyClass, call.options, call.access,
         call.securityLength, call.securityDescriptor != nullptr, static_cast<std::uint32_t>(call.securityInherit));
  }
  void operator()(const QueryValueCall& call) {
    Line("QueryValue", call.key, call.name, call.type, call.buffer, call.size);
  }
  void operator()(const SetValueCall& call) {
    Line("SetValue", call.key, call.name, call.reserved, call.type, call.data);
  }
  void operator()(const DeleteKeyCall& call) { Line("DeleteKey", call.key, call.subKey); }
  void operator()(const DeleteValueCall& call) { Line("DeleteValue", call.key, call.name); }
  void operator()(const CloseKeyCall& call) { Line("CloseKey", call.key); }
  void operator()(const EnumKeyCall& call) { Line("EnumKey", call.key, call.index); }
  void operator()(const EnumValueCall& call) { Line("EnumValue", call.key, call.index); }

 private:
  template <typename... Arguments>
  void Line(const char* function, const Arguments&... arguments) {
    out_ << "  " << function << '(';
    const char* comma = "";
    ((out_ << comma, Argument(arguments), comma = ", "), ...);
    out_ << ")\n";
  }

  void Argument(std::uint32_t number) { out_ << "0x" << std::hex << std::uppercase << number << std::dec; }
  void Argument(bool isSet) { out_ << (isSet ? "some" : "none"); }
  void Argument(const AnsiText& text) { Argument(text.bytes()); }
  void Argument(const std::string& bytes) {
    out_ << '"';
    for (const char byte : bytes.substr(0, kShownBytes)) {
      const auto value = static_cast<unsigned char>(byte);
      if (value >= 0x20 && value < 0x7F && byte != '"') {
        out_ << byte;
      } else {
        out_ << "{" << std::hex << std::uppercase << std::setw(2) << std::setfill('0') << unsigned{value} << std::dec
             << "}";
      }
    }
    out_ << '"';
    if (bytes.size() > kShownBytes) out_ << "...";
    out_ << " (" << bytes.size() << " bytes)";
  }

  std::ostream& out_;
};

}  // namespace

void PrintTo(const Transcript& transcript, std::ostream* out) {
  *out << transcript.size() << " calls\n";
  for (const RegistryCall& call : transcript) std::visit(CallPrinter(*out), call);
}

Status RegistryRecorder::OpenKey(KeyHandle root, const AnsiText& subKey, std::uint32_t options, std::uint32_t access,
                                 KeyHandle& opened) {
  calls.push_back(OpenKeyCall{root, subKey, options, access});
  return ForwardingRegistry::OpenKey(root, subKey, options, access, opened);
}

Status RegistryRecorder::CreateKey(KeyHandle root, const AnsiText& subKey, std::uint32_t reserved,
                                   const AnsiText& keyClass, std::uint32_t options, std::uint32_t access,
                                   const SecurityAttributes& security, KeyHandle& created, std::uint32_t& disposition) {
  calls.push_back(CreateKeyCall{root, subKey, reserved, keyClass, options, access, security.length, security.descriptor,
                                security.inheritHandle});
  return ForwardingRegistry::CreateKey(root, subKey, reserved, keyClass, options, access, security, created,
                                       disposition);
}

Status RegistryRecorder::QueryValue(KeyHandle key, const AnsiText& name, std::uint32_t& type, std::span<char> data,
                                    std::uint32_t& size) {
  calls.push_back(QueryValueCall{key, name, type, std::string(data.begin(), data.end()), size});
  return ForwardingRegistry::QueryValue(key, name, type, data, size);
}

Status RegistryRecorder::SetValue(KeyHandle key, const AnsiText& name, std::uint32_t reserved, std::uint32_t type,
                                  std::span<const char> data) {
  calls.push_back(SetValueCall{key, name, reserved, type, std::string(data.begin(), data.end())});
  return ForwardingRegistry::SetValue(key, name, reserved, type, data);
}

Status RegistryRecorder::DeleteKey(KeyHandle key, const AnsiText& subKey) {
  calls.push_back(DeleteKeyCall{key, subKey});
  return ForwardingRegistry::DeleteKey(key, subKey);
}

Status RegistryRecorder::DeleteValue(KeyHandle key, const AnsiText& name) {
  calls.push_back(DeleteValueCall{key, name});
  return ForwardingRegistry::DeleteValue(key, name);
}

Status RegistryRecorder::CloseKey(KeyHandle key) {
  calls.push_back(CloseKeyCall{key});
  return ForwardingRegistry::CloseKey(key);
}

Status RegistryRecorder::EnumKey(KeyHandle key, std::uint32_t index, AnsiText& name) {
  calls.push_back(EnumKeyCall{key, index});
  return ForwardingRegistry::EnumKey(key, index, name);
}

Status RegistryRecorder::EnumValue(KeyHandle key, std::uint32_t index, AnsiText& name, std::uint32_t& type,
                                   std::string& data) {
  calls.push_back(EnumValueCall{key, index});
  return ForwardingRegistry::EnumValue(key, index, name, type, data);
}

}  // namespace nerio::testing

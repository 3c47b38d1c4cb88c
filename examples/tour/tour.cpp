// Calls the parts of the layer one by one, as a program of the product would, and prints each call with what came back.
//
//   tour owner     makes a branch and writes a setting, for another process to read
//   tour reader    reads it back, and meets the failures, quiet and raised
//   tour support   the support routines; traces into Nerio.log where that file is there

#include <cstdlib>
#include <exception>
#include <functional>
#include <iostream>
#include <stdexcept>
#include <string>
#include <string_view>

#include "nerio/registry/cregistry.h"
#include "nerio/support/base64.h"
#include "nerio/support/component_errors.h"
#include "nerio/support/conversions.h"
#include "nerio/support/messages.h"
#include "nerio/support/templates.h"
#include "nerio/support/trace_log.h"
#include "nerio/support/xml.h"
#include "nerio/types/utf8.h"

namespace {

using namespace nerio;  // NOLINT(google-build-using-namespace): a program that shows the library's own names

std::string Shown(const Text& text) { return ToUtf8(u'"' + text + u'"'); }
std::string Shown(Boolean value) { return value == True ? "True" : "False"; }
std::string Shown(bool value) { return value ? "true" : "false"; }
std::string Shown(std::int32_t value) { return std::to_string(value); }

template <typename Value>
void Show(std::string_view call, const Value& result) {
  std::cout << "  " << call << "\n      -> " << Shown(result) << '\n';
}

void ShowCall(std::string_view call) { std::cout << "  " << call << '\n'; }

// Shows the error that a call raises. @throws std::logic_error when it raises none.
void ShowRaised(std::string_view call, const std::function<void()>& run) {
  try {
    run();
  } catch (const Error& error) {
    std::cout << "  " << call << "\n      -> raises " << error.number() << ", source " << Shown(error.source()) << ", "
              << Shown(error.description()) << '\n';
    return;
  }
  throw std::logic_error("nothing was raised");
}

void ShowOwner() {
  CRegistry registry;
  Show("CRegistry registry;  registry.RamoPrincipale()", registry.RamoPrincipale());
  registry.RamoPredefinito(u"App");
  ShowCall("registry.RamoPredefinito(u\"App\")");
  platform::KeyHandle eHKEYRoot = platform::kHkeyLocalMachine;
  Text sRamoLavoro;
  Show("registry.ScriviRegistroEx(u\"Nome\", u\"perché no\", eHKEYRoot, sRamoLavoro)",
       registry.ScriviRegistroEx(u"Nome", u"perché no", eHKEYRoot, sRamoLavoro));
  Show("sRamoLavoro, written back", sRamoLavoro);
  Show("registry.VerificaRamoEx(sRamoLavoro)", registry.VerificaRamoEx(sRamoLavoro));
  Show("registry.VerificaRamo(sRamoLavoro), the inverse on purpose", registry.VerificaRamo(sRamoLavoro));
}

void ShowReader() {
  CRegistry registry;
  registry.RamoPredefinito(u"App");
  Show("registry.LeggiRegistro(u\"Nome\")", registry.LeggiRegistro(u"Nome"));
  Show("registry.LeggiRegistro(u\"Manca\", u\"predefinito\"), a missing value",
       registry.LeggiRegistro(u"Manca", u"predefinito"));
  registry.RamoPredefinito(u"");
  ShowCall("registry.RamoPredefinito(u\"\")");
  Show("registry.LeggiRegistro(u\"Nome\", u\"predefinito\"), no default branch, quiet",
       registry.LeggiRegistro(u"Nome", u"predefinito"));
  registry.RitornaErrori(True);
  ShowCall("registry.RitornaErrori(True)");
  ShowRaised("registry.LeggiRegistro(u\"Nome\", u\"predefinito\")",
             [&] { registry.LeggiRegistro(u"Nome", u"predefinito"); });
}

void ShowSupport() {
  WriteLog(u"tour: perché no");
  ShowCall("WriteLog(u\"tour: perché no\")");
  Show("GetGuid()", GetGuid());
  Show("GetDate(u\"31/12/1999\")", GetDate(u"31/12/1999"));
  Show("GetDate(u\"domani\"), no date: the zero date's text", GetDate(u"domani"));
  Show("GetErrorMessage(ErrNullOrEmptyParameter)", GetErrorMessage(ErrNullOrEmptyParameter));
  Show("FormatTemplate(u\"{0}{1}\", {u\"{1}\", u\"z\"}), pass by pass",
       FormatTemplate(u"{0}{1}", ArgumentList{{Text(u"{1}"), Text(u"z")}}));
  Show("FormatTemplate(u\"{0} su {1}\", {1.5, Date{36526}})",
       FormatTemplate(u"{0} su {1}", ArgumentList{{1.5, Date{36526}}}));
  ShowRaised("ValidateParam(u\"\", u\"sTesto\")", [] { ValidateParam(u"", u"sTesto"); });

  Text encoded;
  Show("EncodeBase64(u\"perché\", encoded)", EncodeBase64(u"perché", encoded));
  Show("encoded", encoded);
  Show("DecodeBase64(encoded)", DecodeBase64(encoded));
  Show("DecodeBase64(u\"non base64\")", DecodeBase64(u"non base64"));

  Show("CheckXMLParser()", CheckXMLParser());
  platform::XmlDom& dom = platform::ThisHost().xml;
  const platform::XmlDocument document(dom, dom.CreateDocument());
  dom.LoadXml(document.get(), u"<agenda/>");
  const platform::XmlNode root(dom, dom.SelectSingleNode(document.get(), u"agenda"));
  const platform::XmlNode entry = AddXMLElement(document, root, u"voce", u"caffè & tè");
  SetXMLAttribute(document, entry, u"ora", u"10:30");
  SetXMLAttribute(document, entry, u"ora", u"11:00");
  Show("AddXMLElement(document, root, u\"voce\", u\"caffè & tè\"), SetXMLAttribute(..., u\"ora\", ...) twice",
       dom.GetXml(document.get()));
}

}  // namespace

int main(int count, char** arguments) {
  const std::string_view part = count == 2 ? arguments[1] : "";
  try {
    if (part == "owner") {
      ShowOwner();
    } else if (part == "reader") {
      ShowReader();
    } else if (part == "support") {
      ShowSupport();
    } else {
      std::cerr << "usage: tour owner|reader|support\n";
      return 2;
    }
  } catch (const std::exception& error) {
    std::cerr << "tour: " << error.what() << '\n';
    return EXIT_FAILURE;
  }
  return EXIT_SUCCESS;
}

#pragma once

#include <filesystem>
#include <map>
#include <string>

#include "nerio/platform/host.h"
#include "nerio/registry/cregistry.h"

namespace nerio::equal_answers {

/// Does the operations of a script on one host, one after the other.
class Operations {
 public:
  /// @param folder the folder of the trace file, which is the folder of the program.
  Operations(const platform::Host& host, const std::filesystem::path& folder);

  /// Does one operation. Its answer is one line of ASCII: "=" for a success, "-" for a quiet failure or "!" for a
  /// raised error, then the result or the error's three fields, then the arguments that the operation may write into.
  /// @throws std::runtime_error for a line that is no operation.
  std::string Answer(const std::string& operation);

 private:
  class Arguments;

  std::string NewRegistry(Arguments& arguments);
  std::string Property(Arguments& arguments);
  std::string CreaRamo(Arguments& arguments);
  std::string CancellaRamo(Arguments& arguments);
  std::string LeggiRegistro(Arguments& arguments);
  std::string LeggiRegistroEx(Arguments& arguments);
  std::string ScriviRegistroEx(Arguments& arguments);
  std::string OneVariable(Arguments& arguments);
  std::string CancellaRegistro(Arguments& arguments);
  std::string VerificaRamo(Arguments& arguments);
  std::string VerificaRamoEx(Arguments& arguments);
  std::string NativeLayer(Arguments& arguments);

  std::string SwitchTrace(Arguments& arguments);
  std::string TakeTrace(Arguments& arguments);
  std::string WriteLog(Arguments& arguments);
  std::string BuildPath(Arguments& arguments);

  std::string CheckXMLParser(Arguments& arguments);
  std::string NewDocument(Arguments& arguments);
  std::string LoadXml(Arguments& arguments);
  std::string AddXMLElement(Arguments& arguments);
  std::string SetXMLAttribute(Arguments& arguments);
  std::string GetXml(Arguments& arguments);
  std::string EncodeBase64(Arguments& arguments);
  std::string DecodeBase64(Arguments& arguments);

  std::string GetGuid(Arguments& arguments);
  std::string GetDate(Arguments& arguments);
  std::string GetFieldValue(Arguments& arguments);
  std::string PopulateRecordset(Arguments& arguments);
  std::string GetErrorMessage(Arguments& arguments);
  std::string FormatTemplate(Arguments& arguments);
  std::string ValidateParam(Arguments& arguments);

  CRegistry& Registry(Arguments& arguments);
  platform::XmlDocument& Document(Arguments& arguments);
  platform::XmlNode& Node(Arguments& arguments);

  platform::Host host_;
  std::filesystem::path traceFile_;
  std::map<std::string, std::string (Operations::*)(Arguments&)> byName_;
  std::map<std::string, CRegistry> registries_;
  std::map<std::string, platform::XmlDocument> documents_;
  std::map<std::string, platform::XmlNode> nodes_;
};

}  // namespace nerio::equal_answers

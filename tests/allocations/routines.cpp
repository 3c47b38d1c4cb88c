#include "tests/allocations/routines.h"

#include <algorithm>
#include <cstdio>

#include "nerio/registry/branch_names.h"
#include "nerio/registry/cregistry.h"
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

namespace nerio::testing {
namespace {

using platform::XmlDocument;
using platform::XmlNode;

const Text kLong(300, u'k');
const std::string kLongUtf8(300, 'k');
const Text kNome = u"Un nome che non sta in poco posto";
const AnsiText kName("Un nome che non sta in poco posto");
const AnsiText kPathBytes("Software\\Nerio\\Prova di memoria insufficiente");
const AnsiText kSubKey("Un ramo che non sta in poco posto");

template <typename Status>
std::int64_t Number(Status status) {
  return static_cast<std::int64_t>(NumberOf(status));
}
std::int64_t Number(Boolean value) { return static_cast<std::int64_t>(value); }

class OneField final : public platform::RecordField {
 public:
  Variant get_Value() override { return kLong; }
};

class Records final : public platform::RecordSet {
 public:
  Boolean get_BOF() override { return False; }
  Boolean get_EOF() override { return False; }
  void MoveLast(std::int32_t) override {}
  void MoveFirst() override {}
};

CRegistry Registry(World& world) {
  CRegistry registry(world.View());
  registry.RamoPredefinito(World::kBranch);
  return registry;
}

// Does something with an open key of the test's branch.
template <typename Work>
void WithKey(World& world, Answer& answer, Work&& work) {
  platform::RegistryApi& registry = world.View().registry;
  platform::KeyHandle key = 0;
  const auto opened = registry.OpenKey(platform::kHkeyLocalMachine, kPathBytes, 0, registry::REGISTRY_ACCESS, key);
  answer.number = Number(opened);
  if (opened != platform::kSuccess) return;
  answer.number = Number(work(registry, key));
  registry.CloseKey(key);
}

// Lists names in one text.
void List(BranchNames names, Answer& answer) {
  for (const Text& name : names) answer.text += name;
}

template <typename Work>
std::function<void(World&, Answer&)> OnDocument(Work work) {
  return [work](World& world, Answer& answer) {
    platform::XmlDom& dom = world.View().xml;
    const XmlDocument document(dom, dom.CreateDocument());
    if (!dom.LoadXml(document.get(), u"<radice nome='valore'>un testo che non sta in poco posto</radice>")) throw 1;
    const XmlNode root(dom, dom.SelectSingleNode(document.get(), u"radice"));
    work(dom, document, root, answer);
  };
}

std::vector<Routine> RegistryRoutines() {
  const Answer no{{}, Number(False)};
  const Answer yes{{}, Number(True)};
  return {
      {"nerio::CRegistry::CRegistry",
       [](World& world, Answer& answer) { answer.text = CRegistry(world.View()).RamoPrincipale(); },
       {}},
      {"nerio::CRegistry::RamoPrincipale",
       [](World& world, Answer& answer) {
         CRegistry registry(world.View());
         registry.RamoPrincipale(kLong);
         answer.text = registry.RamoPrincipale();
       },
       {}},
      {"nerio::CRegistry::RamoPredefinito",
       [](World& world, Answer& answer) { answer.text = Registry(world).RamoPredefinito(); },
       {}},
      {"nerio::CRegistry::RitornaErrori",
       [](World& world, Answer& answer) {
         CRegistry registry(world.View());
         registry.RitornaErrori(True);
         answer.number = Number(registry.RitornaErrori());
       },
       {}},
      {"nerio::CRegistry::CreaRamo",
       [](World& world, Answer& answer) {
         answer.number = Number(CRegistry(world.View()).CreaRamo(Text(World::kPath) + u"\\Nuovo"));
       },
       {no}},
      {"nerio::CRegistry::CancellaRamo",
       [](World& world, Answer& answer) {
         answer.number = Number(CRegistry(world.View()).CancellaRamo(Text(World::kPath) + u"\\Ramo"));
       },
       {no}},
      {"nerio::CRegistry::LeggiRegistro",
       [](World& world, Answer& answer) { answer.text = Registry(world).LeggiRegistro(kNome, u"-"); },
       {{u"-"}, {}}},
      {"nerio::CRegistry::LeggiRegistroEx",
       [](World& world, Answer& answer) {
         answer.text = Registry(world).LeggiRegistroEx(kNome, platform::kHkeyLocalMachine, Text(World::kPath), u"-");
       },
       {{u"-"}, {}}},
      {"nerio::CRegistry::ScriviRegistroEx",
       [](World& world, Answer& answer) { answer.text = Registry(world).ScriviRegistroEx(kNome, kLong); },
       {{u"False"}, {}}},
      {"nerio::CRegistry::CancellaRegistro",
       [](World& world, Answer& answer) { answer.number = Number(Registry(world).CancellaRegistro(kNome)); },
       {no}},
      {"nerio::CRegistry::VerificaRamo",
       [](World& world, Answer& answer) { answer.number = Number(CRegistry(world.View()).VerificaRamo(World::kPath)); },
       {yes}},
      {"nerio::CRegistry::VerificaRamoEx",
       [](World& world, Answer& answer) {
         answer.number = Number(CRegistry(world.View()).VerificaRamoEx(World::kPath));
       },
       {no}},
      {"nerio::SubKeyNames",
       [](World& world, Answer& answer) {
         List(SubKeyNames(World::kPath, platform::kHkeyLocalMachine, world.View()), answer);
       },
       {}},
      {"nerio::ValueNames",
       [](World& world, Answer& answer) {
         List(ValueNames(World::kPath, platform::kHkeyLocalMachine, world.View()), answer);
       },
       {}},
  };
}

std::vector<Routine> NativeRegistryRoutines() {
  // Each call answers a code: "not enough memory" as the system has it, 8 or 14.
  const std::vector<Answer> noMemory = {{{}, 8}, {{}, 14}};
  return {
      {"RegistryApi::OpenKey",
       [](World& world, Answer& answer) { WithKey(world, answer, [](auto&, auto) { return platform::kSuccess; }); },
       noMemory},
      {"RegistryApi::CloseKey",
       [](World& world, Answer& answer) { WithKey(world, answer, [](auto&, auto) { return platform::kSuccess; }); },
       noMemory},
      {"RegistryApi::CreateKey",
       [](World& world, Answer& answer) {
         WithKey(world, answer, [](platform::RegistryApi& registry, platform::KeyHandle key) {
           platform::KeyHandle made = 0;
           std::uint32_t disposition = 0;
           return registry.CreateKey(key, kSubKey, 0, AnsiText(), 0, registry::REGISTRY_ACCESS, {}, made, disposition);
         });
       },
       noMemory},
      {"RegistryApi::QueryValue",
       [](World& world, Answer& answer) {
         WithKey(world, answer, [](platform::RegistryApi& registry, platform::KeyHandle key) {
           char data[1024];
           std::uint32_t type = 0;
           std::uint32_t size = sizeof data;
           return registry.QueryValue(key, kName, type, data, size);
         });
       },
       noMemory},
      {"RegistryApi::SetValue",
       [](World& world, Answer& answer) {
         WithKey(world, answer, [](platform::RegistryApi& registry, platform::KeyHandle key) {
           return registry.SetValue(key, kName, 0, platform::kRegSz, kLongUtf8);
         });
       },
       noMemory},
      {"RegistryApi::DeleteValue",
       [](World& world, Answer& answer) {
         WithKey(world, answer, [](platform::RegistryApi& registry, platform::KeyHandle key) {
           return registry.DeleteValue(key, kName);
         });
       },
       noMemory},
      {"RegistryApi::DeleteKey",
       [](World& world, Answer& answer) {
         WithKey(world, answer, [](platform::RegistryApi& registry, platform::KeyHandle key) {
           return registry.DeleteKey(key, AnsiText("Ramo"));
         });
       },
       noMemory},
      {"RegistryApi::EnumKey",
       [](World& world, Answer& answer) {
         WithKey(world, answer, [](platform::RegistryApi& registry, platform::KeyHandle key) {
           AnsiText name;
           return registry.EnumKey(key, 0, name);
         });
       },
       noMemory},
      {"RegistryApi::EnumValue",
       [](World& world, Answer& answer) {
         WithKey(world, answer, [](platform::RegistryApi& registry, platform::KeyHandle key) {
           AnsiText name;
           std::uint32_t type = 0;
           std::string data;
           return registry.EnumValue(key, 0, name, type, data);
         });
       },
       noMemory},
  };
}

std::vector<Routine> SupportRoutines() {
  return {
      {"nerio::WriteLog", [](World& world, Answer&) { WriteLog(kLong, world.View()); }, {}},
      {"nerio::BuildPath", [](World&, Answer& answer) { answer.text = BuildPath(kLong, kNome); }, {}},
      {"nerio::CheckXMLParser",
       [](World& world, Answer& answer) { answer.number = CheckXMLParser(world.View()) ? 1 : 0; },
       {{}}},
      {"nerio::EncodeBase64",
       [](World& world, Answer& answer) { answer.number = EncodeBase64(kLong, answer.text, world.View()); },
       {{{}, kErrOutOfMemory}}},
      {"nerio::DecodeBase64",
       [](World& world, Answer& answer) {
         static const Text encoded = [&] {
           Text text;
           EncodeBase64(kLong, text, world.View());
           return text;
         }();
         answer.text = DecodeBase64(encoded, world.View());
       },
       {{}}},
      {"nerio::GetGuid",
       [](World& world, Answer& answer) { answer.number = static_cast<std::int64_t>(GetGuid(world.View()).size()); },
       {{}}},
      {"nerio::GetDate",
       [](World& world, Answer& answer) { answer.text = GetDate(u"31/12/1999 10:20:30", world.View()); },
       {{u"00:00:00"}, {}}},
      {"nerio::GetFieldValue",
       [](World&, Answer& answer) {
         OneField field;
         answer.text = std::get<Text>(GetFieldValue(field, u"-"));
       },
       {}},
      {"nerio::PopulateRecordset",
       [](World&, Answer&) {
         Records records;
         PopulateRecordset(records);
       },
       {}},
      {"nerio::GetErrorMessage",
       [](World&, Answer& answer) { answer.text = GetErrorMessage(ErrNullOrEmptyParameter); },
       {}},
      {"nerio::FormatTemplate",
       [](World& world, Answer& answer) {
         static const ArgumentList arguments{{kLong, 1.5, Date{3.5}}, 0};
         answer.text = FormatTemplate(u"{0} {1} {2}", arguments, world.View());
       },
       {}},
      {"nerio::ValidateParam",
       [](World& world, Answer& answer) {
         try {
           ValidateParam(u"", kNome, world.View());
         } catch (const Error& error) {
           answer.number = error.number();
         }
       },
       {}},
      {"nerio::RaiseError",
       [](World& world, Answer& answer) {
         try {
           RaiseError(ErrNullOrEmptyParameter, kNome, kLong, world.View());
         } catch (const Error& error) {
           answer.number = error.number();
         }
       },
       {}},
      {"nerio::RaiseObjectNotSet",
       [](World&, Answer& answer) {
         try {
           RaiseObjectNotSet();
         } catch (const Error& error) {
           answer.number = error.number();
         }
       },
       {}},
      {"nerio::Error::Error", [](World&, Answer& answer) { answer.text = Error(1, kLong, kNome).description(); }, {}},
      {"nerio::FromUtf8", [](World&, Answer& answer) { answer.text = FromUtf8(kLongUtf8); }, {}},
      {"nerio::ToUtf8",
       [](World&, Answer& answer) { answer.number = static_cast<std::int64_t>(ToUtf8(kLong).size()); },
       {}},
      {"nerio::IsUtf8", [](World&, Answer& answer) { answer.number = IsUtf8(kLongUtf8) ? 1 : 0; }, {}},
      {"nerio::WellFormedUtf8",
       [](World&, Answer& answer) { answer.number = static_cast<std::int64_t>(WellFormedUtf8(kLongUtf8)); },
       {}},
      {"nerio::SetXMLAttribute",
       OnDocument([](auto& dom, auto& document, auto& root, Answer& answer) {
         SetXMLAttribute(document, root, u"altro", kLong);
         answer.text = dom.GetXml(root.get());
       }),
       {}},
      {"nerio::AddXMLElement",
       OnDocument([](auto& dom, auto& document, auto& root, Answer& answer) {
         AddXMLElement(document, root, u"altro", kLong);
         answer.text = dom.GetXml(root.get());
       }),
       {}},
  };
}

std::vector<Routine> XmlRoutines() {
  const auto text = [](auto& dom, const XmlNode& node, Answer& answer) { answer.text = dom.GetXml(node.get()); };
  return {
      {"XmlDom::CreateDocumentByName",
       [](World& world, Answer&) { XmlDocument(world.View().xml, world.View().xml.CreateDocumentByName()); },
       {}},
      {"XmlDom::CreateDocument",
       [](World& world, Answer&) { XmlDocument(world.View().xml, world.View().xml.CreateDocument()); },
       {}},
      {"XmlDom::CreateElement",
       OnDocument([text](auto& dom, auto& document, auto&, Answer& answer) {
         text(dom, XmlNode(dom, dom.CreateElement(document.get(), kLong)), answer);
       }),
       {}},
      {"XmlDom::CreateAttribute",
       OnDocument([text](auto& dom, auto& document, auto&, Answer& answer) {
         text(dom, XmlNode(dom, dom.CreateAttribute(document.get(), kLong)), answer);
       }),
       {}},
      {"XmlDom::Attributes",
       OnDocument([](auto& dom, auto&, auto& root, Answer&) { XmlNode(dom, dom.Attributes(root.get())); }),
       {}},
      {"XmlDom::GetNamedItem",
       OnDocument([text](auto& dom, auto&, auto& root, Answer& answer) {
         const XmlNode map(dom, dom.Attributes(root.get()));
         text(dom, XmlNode(dom, dom.GetNamedItem(map.get(), u"nome")), answer);
       }),
       {}},
      {"XmlDom::SetNamedItem",
       OnDocument([text](auto& dom, auto& document, auto& root, Answer& answer) {
         const XmlNode map(dom, dom.Attributes(root.get()));
         const XmlNode attribute(dom, dom.CreateAttribute(document.get(), u"altro"));
         XmlNode(dom, dom.SetNamedItem(map.get(), attribute.get()));
         text(dom, root, answer);
       }),
       {}},
      {"XmlDom::AppendChild",
       OnDocument([text](auto& dom, auto& document, auto& root, Answer& answer) {
         const XmlNode element(dom, dom.CreateElement(document.get(), u"figlio"));
         XmlNode(dom, dom.AppendChild(root.get(), element.get()));
         text(dom, root, answer);
       }),
       {}},
      {"XmlDom::PutText",
       OnDocument([text](auto& dom, auto&, auto& root, Answer& answer) {
         dom.PutText(root.get(), kLong);
         text(dom, root, answer);
       }),
       {}},
      {"XmlDom::GetText",
       OnDocument([](auto& dom, auto&, auto& root, Answer& answer) { answer.text = dom.GetText(root.get()); }),
       {}},
      {"XmlDom::PutDataType",
       OnDocument([text](auto& dom, auto&, auto& root, Answer& answer) {
         dom.PutDataType(root.get(), u"bin.base64");
         text(dom, root, answer);
       }),
       {}},
      {"XmlDom::PutNodeTypedValue",
       OnDocument([](auto& dom, auto&, auto& root, Answer& answer) {
         static const Bytes bytes(300, 7);
         dom.PutDataType(root.get(), u"bin.base64");
         dom.PutNodeTypedValue(root.get(), bytes);
         answer.text = dom.GetText(root.get());
       }),
       {}},
      {"XmlDom::GetNodeTypedValue",
       OnDocument([](auto& dom, auto&, auto& root, Answer& answer) {
         answer.text = std::get<Text>(dom.GetNodeTypedValue(root.get()));
       }),
       {}},
      {"XmlDom::LoadXml",
       OnDocument([text](auto& dom, auto& document, auto&, Answer& answer) {
         answer.number = dom.LoadXml(document.get(), u"<altro><dentro a='b'>testo</dentro></altro>") ? 1 : 0;
         text(dom, document, answer);
       }),
       {}},
      {"XmlDom::LoadError",
       OnDocument([](auto& dom, auto& document, auto&, Answer& answer) {
         answer.number = dom.LoadXml(document.get(), u"<altro><dentro></altro>") ? 1 : 0;
         answer.text = dom.LoadError(document.get()).reason;
       }),
       {}},
      {"XmlDom::SelectSingleNode",
       OnDocument([text](auto& dom, auto& document, auto&, Answer& answer) {
         text(dom, XmlNode(dom, dom.SelectSingleNode(document.get(), u"/radice")), answer);
       }),
       {}},
      {"XmlDom::GetXml",
       OnDocument([text](auto& dom, auto&, auto& root, Answer& answer) { text(dom, root, answer); }),
       {}},
      {"XmlDom::AddRef",
       OnDocument([](auto& dom, auto&, auto& root, Answer&) { dom.AddRef(root.get()), dom.Release(root.get()); }),
       {}},
      {"XmlDom::Release",
       OnDocument([](auto& dom, auto&, auto& root, Answer&) { dom.AddRef(root.get()), dom.Release(root.get()); }),
       {}},
  };
}

// A conversion of the regional settings to text.
template <typename Convert>
Routine Regional(const char* name, Convert convert) {
  return {
      name,
      [convert](World& world, Answer& answer) { answer.number = Number(convert(world.View().regional, answer.text)); },
      {{{}, Number(platform::kOutOfMemory)}}};
}

std::vector<Routine> ServiceRoutines() {
  using platform::RegionalSettings;
  return {
      {"nerio::platform::OpenHost",
       [](World&, Answer& answer) { answer.number = platform::OpenHost() != nullptr ? 1 : 0; },
       {}},
      {"HostInstance::Services",
       [](World& world, Answer& answer) { answer.number = world.View().codePage.Identifier(); },
       {}},
      {"CodePage::Identifier",
       [](World& world, Answer& answer) { answer.number = world.View().codePage.Identifier(); },
       {}},
      {"CodePage::ToAnsi",
       [](World& world, Answer& answer) {
         answer.number = static_cast<std::int64_t>(world.View().codePage.ToAnsi(kLong).bytes().size());
       },
       {}},
      {"CodePage::ToText",
       [](World& world, Answer& answer) { answer.text = world.View().codePage.ToText(kLongUtf8); },
       {}},
      {"FileSystem::FindOrdinaryFile",
       [](World& world, Answer& answer) {
         bool found = false;
         answer.number = Number(world.View().files.FindOrdinaryFile(world.tracePath(), found));
         if (found) answer.number += 1000;
       },
       {{{}, 8}, {{}, 12}, {{}, 14}}},
      {"FileSystem::OpenForAppend",
       [](World& world, Answer& answer) {
         platform::FileHandle file{};
         answer.number = Number(world.View().files.OpenForAppend(world.tracePath(), file));
         if (answer.number == 0) world.View().files.Close(file);
       },
       {{{}, 8}, {{}, 12}, {{}, 14}}},
      {"FileSystem::Append",
       [](World& world, Answer& answer) {
         platform::FileHandle file{};
         answer.number = Number(world.View().files.OpenForAppend(world.tracePath(), file));
         if (answer.number != 0) return;
         answer.number = Number(world.View().files.Append(file, kLongUtf8));
         world.View().files.Close(file);
       },
       {{{}, 8}, {{}, 12}, {{}, 14}}},
      {"FileSystem::Close",
       [](World& world, Answer& answer) {
         platform::FileHandle file{};
         answer.number = Number(world.View().files.OpenForAppend(world.tracePath(), file));
         if (answer.number == 0) answer.number = Number(world.View().files.Close(file));
       },
       {{{}, 8}, {{}, 12}, {{}, 14}}},
      {"FileSystem::Describe",
       [](World& world, Answer& answer) { answer.text = world.View().files.Describe(platform::SystemStatus{2}); },
       {}},
      {"ModuleLocation::Folder",
       [](World&, Answer& answer) { answer.number = Number(platform::ThisHost().module.Folder(answer.text)); },
       {{{}, 8}, {{}, 12}, {{}, 14}}},
      {"GuidSource::Create",
       [](World& world, Answer& answer) {
         platform::GuidBytes guid{};
         answer.number = Number(world.View().guids.Create(guid));
       },
       {}},
      {"RegionalSettings::RegionName",
       [](World& world, Answer& answer) { answer.text = world.View().regional.RegionName(); },
       {}},
      {"RegionalSettings::DateFromText",
       [](World& world, Answer& answer) {
         Date date;
         answer.number = Number(world.View().regional.DateFromText(u"31 dicembre 1999", date));
       },
       {{{}, Number(platform::kOutOfMemory)}}},
      Regional("RegionalSettings::TextFromDate", [](RegionalSettings& r, Text& t) { return r.TextFromDate({3.5}, t); }),
      Regional("RegionalSettings::TextFromDouble",
               [](RegionalSettings& r, Text& t) { return r.TextFromDouble(-123456.789012, t); }),
      Regional("RegionalSettings::TextFromSingle",
               [](RegionalSettings& r, Text& t) { return r.TextFromSingle(1.5F, t); }),
      Regional("RegionalSettings::TextFromCurrency",
               [](RegionalSettings& r, Text& t) { return r.TextFromCurrency({1234567890123}, t); }),
      Regional("RegionalSettings::TextFromDecimal",
               [](RegionalSettings& r, Text& t) {
                 return r.TextFromDecimal({.scale = 3, .negative = true, .high = 7, .low = 1234567890123}, t);
               }),
  };
}

}  // namespace

platform::Status ClosingRegistry::CreateKey(platform::KeyHandle root, const AnsiText& subKey, std::uint32_t reserved,
                                            const AnsiText& keyClass, std::uint32_t options, std::uint32_t access,
                                            const platform::SecurityAttributes& security, platform::KeyHandle& created,
                                            std::uint32_t& disposition) {
  const auto status =
      ForwardingRegistry::CreateKey(root, subKey, reserved, keyClass, options, access, security, created, disposition);
  if (status == platform::kSuccess && created_.size() < created_.capacity()) created_.push_back(created);
  return status;
}

void ClosingRegistry::CloseCreated() {
  for (const platform::KeyHandle key : created_) CloseKey(key);
  created_.clear();
}

World::World()
    : real_(platform::OpenHost({folder_.path() / "registry"})),
      registry_(real_->Services().registry),
      folderText_(folder_.path().u16string()) {
  std::replace(folderText_.begin(), folderText_.end(), u'/', u'\\');
  tracePath_ = folderText_ + u"\\Nerio.log";
  std::FILE* const file = std::fopen((folder_.path() / "Nerio.log").string().c_str(), "wb");
  if (file != nullptr) std::fclose(file);
}

World::~World() {
  CRegistry registry(View());
  for (const TextView below : {u"\\Nuovo", u"\\Ramo", u"\\Un ramo che non sta in poco posto", u""}) {
    registry.CancellaRamo(Text(kPath) + Text(below));
  }
  registry_.CloseCreated();
}

platform::Host World::View() {
  const platform::Host real = real_->Services();
  return {registry_, real.codePage, real.files, *this, real.guids, real.xml, real.regional};
}

platform::SystemStatus World::Folder(Text& answer) {
  answer = folderText_;
  return platform::SystemStatus::kSuccess;
}

void World::Reset() {
  CRegistry registry(View());
  registry.RamoPredefinito(kBranch);
  registry.ScriviRegistroEx(kNome, u"un valore che non sta in poco posto");
  registry.CancellaRamo(Text(kPath) + u"\\Nuovo");
  registry.CancellaRamo(Text(kPath) + u"\\Un ramo che non sta in poco posto");
  registry.CreaRamo(Text(kPath) + u"\\Ramo");
  registry_.CloseCreated();
}

std::vector<Routine> AllRoutines() {
  std::vector<Routine> all;
  for (auto&& group :
       {RegistryRoutines(), NativeRegistryRoutines(), SupportRoutines(), XmlRoutines(), ServiceRoutines()}) {
    all.insert(all.end(), group.begin(), group.end());
  }
  return all;
}

std::vector<std::pair<std::string, std::string>> NamesWithoutCall() {
  const std::string within = "met by SubKeyNames and ValueNames";
  const std::string hidden = "private: met by the operations";
  const std::string callers = "implemented by the caller: met by GetFieldValue and PopulateRecordset";
  return {
      {"nerio::BranchNames::BranchNames", within},
      {"nerio::BranchNames::Iterator::operator*", within},
      {"nerio::BranchNames::Iterator::operator++", within},
      {"nerio::BranchNames::Iterator::operator==", within},
      {"nerio::BranchNames::begin", within},
      {"nerio::BranchNames::operator=", within},
      {"nerio::BranchNames::~BranchNames", within},
      {"nerio::CRegistry::MessaggioErrore", hidden},
      {"nerio::CRegistry::OperazioneRegistro", hidden},
      {"nerio::CRegistry::Perform", hidden},
      {"nerio::CRegistry::Raise", hidden},
      {"nerio::CRegistry::RamoLavoro", hidden},
      {"nerio::NerioVersion", "answers a text that is there"},
      {"nerio::platform::OwnXmlDom", "noexcept: answers an object that is there"},
      {"nerio::platform::ThisHost", "noexcept: is made on first use"},
      {"RecordField::get_Value", callers},
      {"RecordSet::get_BOF", callers},
      {"RecordSet::get_EOF", callers},
      {"RecordSet::MoveLast", callers},
      {"RecordSet::MoveFirst", callers},
  };
}

}  // namespace nerio::testing

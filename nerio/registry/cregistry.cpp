#include "nerio/registry/cregistry.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "nerio/registry/messages.h"
#include "nerio/registry/native_layer.h"

namespace nerio {

using platform::KeyHandle;
using platform::kHkeyLocalMachine;

namespace {

constexpr char16_t kSeparator = u'\\';

}  // namespace

CRegistry::CRegistry(const platform::Host& host)
    : registry_(&host.registry), codePage_(&host.codePage), ramoPrincipale_(u"Software\\Nerio") {}

void CRegistry::RamoPredefinito(TextView sValore) { ramoPredefinito_ = sValore; }

Text CRegistry::RamoPredefinito() const { return ramoPredefinito_; }

void CRegistry::RitornaErrori(Boolean lValore) { ritornaErrori_ = lValore; }

Boolean CRegistry::RitornaErrori() const { return ritornaErrori_; }

Boolean CRegistry::CreaRamo(TextView sRamo, TextInOut sCaption) {
  const Text path(sRamo);  // sRamo may view sCaption
  Text own;
  Text& caption = sCaption.In(own);
  if (caption.empty()) caption = u"Crea Ramo";
  Text unused;
  if (Perform(registry::opVerificaChiave, kHkeyLocalMachine, path, {}, unused)) return True;
  if (Perform(registry::opCreaChiave, kHkeyLocalMachine, path, {}, unused)) return True;
  Raise(registry::kErrCreateBranch, caption, MessaggioErrore(registry::kErrCreateBranch) + u" " + path);
  return False;
}

Boolean CRegistry::CancellaRamo(TextView sRamo, TextInOut sCaption) {
  const Text path(sRamo);  // sRamo may view sCaption
  Text own;
  Text& caption = sCaption.In(own);
  if (caption.empty()) caption = u"Cancella Ramo";
  Text unused;
  if (Perform(registry::opCancellaChiave, kHkeyLocalMachine, path, {}, unused)) return True;
  // The message is that of a creation, deliberately.
  Raise(registry::kErrCreateBranch, caption, MessaggioErrore(registry::kErrCreateBranch) + u" " + path);
  return False;
}

Text CRegistry::LeggiRegistro(TextView sChiave, TextView sDefault) {
  Text branch = RamoLavoro();
  // Without a work branch the answer is the empty text and not the default, deliberately.
  if (branch.empty()) return {};
  Text value;
  if (Perform(registry::opLeggiValore, kHkeyLocalMachine, std::move(branch), Text(sChiave), value)) return value;
  return Text(sDefault);
}

Text CRegistry::LeggiRegistroEx(TextView sChiave, RootInOut eHKEYRoot, TextInOut sRamoLavoro, TextView sDefault) {
  const Text name(sChiave);  // sChiave and sDefault may view sRamoLavoro
  Text otherwise(sDefault);
  Text own;
  Text& branch = sRamoLavoro.In(own);
  if (branch.empty()) branch = RamoLavoro();
  if (branch.empty()) return {};
  Text value;
  if (Perform(registry::opLeggiValore, eHKEYRoot, branch, name, value)) return value;
  return otherwise;
}

Text CRegistry::ScriviRegistroEx(TextView sChiave, TextView sValore, RootInOut eHKEYRoot, TextInOut sRamoLavoro) {
  const Text name(sChiave);  // sChiave and sValore may view sRamoLavoro
  Text value(sValore);
  Text own;
  Text& branch = sRamoLavoro.In(own);
  if (branch.empty()) branch = RamoLavoro();
  if (branch.empty()) return Text(TextOf(False));

  // The chain is created below HKEY_LOCAL_MACHINE whatever eHKEYRoot says, deliberately.
  Text chain;
  for (std::size_t start = 0; start <= branch.size();) {
    const std::size_t end = std::min(branch.find(kSeparator, start), branch.size());
    if (!chain.empty()) chain += kSeparator;
    chain.append(branch, start, end - start);
    if (CreaRamo(chain, u"ScriviRegistro") == False) return Text(TextOf(False));
    start = end + 1;
  }

  if (Perform(registry::opScriviValore, eHKEYRoot, branch, name, value)) return Text(TextOf(True));
  Raise(registry::kErrStoreValue, u"ScriviRegistro",
        MessaggioErrore(registry::kErrStoreValue) + u" nella chiave '" + name + u"'");
  // Not the text of False: that says that the branch is missing, deliberately kept apart.
  return {};
}

Boolean CRegistry::CancellaRegistro(TextView sChiave) {
  const Text branch = RamoLavoro();
  if (branch.empty()) return False;
  const Text name(sChiave);
  Text unused;
  if (Perform(registry::opCancellaValore, kHkeyLocalMachine, branch, name, unused)) return True;
  Raise(registry::kErrDeleteKeys, u"CancellaChiave", MessaggioErrore(registry::kErrDeleteKeys) + u" '" + name + u"'");
  return False;
}

Boolean CRegistry::VerificaRamo(TextView sRamo) {
  // True when the branch cannot be opened: the inverse of VerificaRamoEx, deliberately.
  return ToBoolean(VerificaRamoEx(sRamo) == False);
}

Boolean CRegistry::VerificaRamoEx(TextView sRamo, RootInOut eHKEYRoot) {
  Text unused;
  return ToBoolean(Perform(registry::opVerificaChiave, eHKEYRoot, Text(sRamo), {}, unused));
}

void CRegistry::RamoPrincipale(TextView sValore) { ramoPrincipale_ = sValore; }

Text CRegistry::RamoPrincipale() const { return ramoPrincipale_; }

Text CRegistry::MessaggioErrore(std::int32_t number) { return registry::MessaggioErrore(number); }

Text CRegistry::RamoLavoro() const {
  if (ramoPredefinito_.empty()) {
    Raise(registry::kErrDefaultBranch, u"RamoLavoro", MessaggioErrore(registry::kErrDefaultBranch));
    return {};
  }
  if (ramoPrincipale_.empty()) return ramoPredefinito_;
  Text branch;
  branch.reserve(ramoPrincipale_.size() + 1 + ramoPredefinito_.size());
  branch.append(ramoPrincipale_).append(1, kSeparator).append(ramoPredefinito_);
  return branch;
}

void CRegistry::OperazioneRegistro(std::int32_t& operation, KeyHandle& root, Text& path, Text& valueName,
                                   Text& valueData, std::int16_t& valueType, std::int16_t& result) {
  registry::OperazioneRegistro(operation, root, path, valueName, valueData, valueType, result, *registry_, *codePage_);
}

bool CRegistry::Perform(std::int32_t operation, KeyHandle root, Text path, Text valueName, Text& valueData) {
  auto valueType = static_cast<std::int16_t>(platform::kRegSz);
  std::int16_t result = 0;
  OperazioneRegistro(operation, root, path, valueName, valueData, valueType, result);
  return result != 0;
}

void CRegistry::Raise(std::int32_t number, TextView source, const Text& description) const {
  if (ritornaErrori_ != False) throw Error(number, Text(source), description);
}

}  // namespace nerio

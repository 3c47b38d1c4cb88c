#pragma once

#include <cstdint>

#include "nerio/platform/host.h"
#include "nerio/platform/registry_api.h"
#include "nerio/registry/in_out.h"
#include "nerio/types/boolean.h"
#include "nerio/types/error.h"
#include "nerio/types/text.h"
#include "nerio/types/visibility.h"

namespace nerio {

/// Creates, tests, reads, writes and deletes keys and text values of the registry, inside a work branch.
///
/// The work branch is `RamoPrincipale` + "\" + `RamoPredefinito`; the latter alone when the main branch is empty; none
/// when the default branch is empty. It is used as composed: no backslash is added or removed.
///
/// In every operation `sChiave` is the name of a value, empty for the unnamed one; `sRamo` and `sRamoLavoro` are paths
/// of keys below a root, without a leading backslash. `eHKEYRoot` is a predefined root; it is in/out by declaration and
/// never written. Texts are UTF-16 code units and cross the registry in the system's ANSI code page: what it cannot
/// hold is replaced.
///
/// Failures are quiet by default and show in the results only. With `RitornaErrori` True an operation raises
/// `nerio::Error` where it says so, and gives no result; 0 is one of the numbers. Why the registry refused is never
/// told: a missing key, refused access and a value that is too long all look the same.
///
/// Every key is opened with one access mask, `registry::REGISTRY_ACCESS`, also to be read or tested: where one of its
/// rights is missing, the key cannot be used at all.
///
/// An in/out parameter takes the caller's own variable, and operations write into it where they say so, also when they
/// fail or raise afterwards; a literal or another value without a name does as well, see `in_out.h`. One variable may be
/// passed for two parameters: the operation works on what the others held when it was called.
///
/// An object belongs to the thread that uses it. It keeps no handle between calls and holds nothing to clean up; the
/// host's services outlive it.
class NERIO_PUBLIC CRegistry {
 public:
  /// Makes an object with the main branch "Software\Nerio", no default branch, and errors quiet.
  explicit CRegistry(const platform::Host& host = platform::ThisHost());

  /// Sets the default branch, unchanged and unchecked. Raises nothing.
  void RamoPredefinito(TextView sValore);
  /// Returns the default branch.
  Text RamoPredefinito() const;

  /// Sets whether errors are raised. Any value but False counts as True and is kept as it is.
  void RitornaErrori(Boolean lValore);
  /// Returns what was set.
  Boolean RitornaErrori() const;

  /// Creates the key `sRamo` below HKEY_LOCAL_MACHINE with all missing levels. The path is `sRamo` itself: neither the
  /// main branch nor the work branch precedes it.
  /// @param[in,out] sCaption the source of the error. Empty: it becomes "Crea Ramo", in the caller's variable too.
  /// @return True when the key is there, created or found; False when it could not be created. A handle of a key that
  ///   was created stays open, deliberately.
  /// @throws Error 1, source `sCaption`, "Errore durante la creazione del ramo" + blank + `sRamo`, instead of False.
  Boolean CreaRamo(TextView sRamo, TextInOut sCaption = Text());

  /// Deletes the key `sRamo` below HKEY_LOCAL_MACHINE. A key with subkeys is refused; nothing is deleted recursively.
  /// @param[in,out] sCaption the source of the error. Empty: it becomes "Cancella Ramo", in the caller's variable too.
  /// @return True when the key was deleted, False when it was not there or could not be deleted.
  /// @throws Error 1, source `sCaption`, with the message of a creation, deliberately: "Errore durante la creazione del
  ///   ramo" + blank + `sRamo`, instead of False.
  Boolean CancellaRamo(TextView sRamo, TextInOut sCaption = Text());

  /// Reads a value of the work branch, below HKEY_LOCAL_MACHINE, as text.
  /// @return the text, without any NUL in it; `sDefault` when the value or the branch is missing, cannot be opened, or
  ///   takes more than 1024 bytes; the empty text, not `sDefault`, when there is no work branch.
  /// @throws Error 0, source "RamoLavoro", "Ramo predefinito non valido", when there is no work branch.
  Text LeggiRegistro(TextView sChiave, TextView sDefault = {});

  /// Reads a value below any root, as `LeggiRegistro` does.
  /// @param[in,out] sRamoLavoro the branch. Empty: it becomes the work branch, in the caller's variable too.
  /// @return the text; `sDefault` when value or branch cannot be read; the empty text when there is no branch at all.
  /// @throws Error 0, source "RamoLavoro", when `sRamoLavoro` is empty and there is no work branch.
  Text LeggiRegistroEx(TextView sChiave, RootInOut eHKEYRoot = platform::kHkeyLocalMachine,
                       TextInOut sRamoLavoro = Text(), TextView sDefault = {});

  /// Writes a text as a value (REG_SZ without terminator) below any root. First every level of the branch is created
  /// with `CreaRamo` below HKEY_LOCAL_MACHINE, whatever `eHKEYRoot` says, deliberately: below another root the write
  /// succeeds only where the branch is already there. The branch is split at every "\"; empty parts count, so "A\\B"
  /// (two backslashes) calls `CreaRamo` with "A", "A\" and "A\\B". Levels made before a failure stay.
  /// @param[in,out] sRamoLavoro the branch. Empty: it becomes the work branch, in the caller's variable too.
  /// @return "True" when the value was written; "False" when there is no branch or a level could not be created; the
  ///   empty text when the chain is there and the write failed.
  /// @throws Error 0, source "RamoLavoro", when `sRamoLavoro` is empty and there is no work branch; Error 1, source
  ///   "ScriviRegistro", as `CreaRamo`, when a level could not be created; Error 4, source "ScriviRegistro", "Errore
  ///   durante la memorizzazione del valore nella chiave '" + `sChiave` + "'", when the write failed.
  Text ScriviRegistroEx(TextView sChiave, TextView sValore, RootInOut eHKEYRoot = platform::kHkeyLocalMachine,
                        TextInOut sRamoLavoro = Text());

  /// Deletes a value of the work branch, below HKEY_LOCAL_MACHINE.
  /// @return True when it was deleted; False when it was not there, could not be deleted, or there is no work branch.
  /// @throws Error 0, source "RamoLavoro", when there is no work branch; Error 5, source "CancellaChiave", "Errore
  ///   durante la rimozione delle chiave '" + `sChiave` + "'", when the value was not deleted; `sChiave` as it was
  ///   passed, letters outside the code page included.
  Boolean CancellaRegistro(TextView sChiave);

  /// Tests whether the key `sRamo` below HKEY_LOCAL_MACHINE is missing. The answer is the inverse of the name,
  /// deliberately: `VerificaRamo` of an existing branch is False where `VerificaRamoEx` is True. Raises nothing.
  /// @return True when the key cannot be opened, False when it opens.
  Boolean VerificaRamo(TextView sRamo);

  /// Tests whether the key `sRamo` below any root is there. Raises nothing.
  /// @return True when it opens, False otherwise.
  Boolean VerificaRamoEx(TextView sRamo, RootInOut eHKEYRoot = platform::kHkeyLocalMachine);

  /// Sets the main branch, unchanged and unchecked. Raises nothing.
  void RamoPrincipale(TextView sValore);
  /// Returns the main branch.
  Text RamoPrincipale() const;

 private:
  // The message of an error number of the class.
  static Text MessaggioErrore(std::int32_t number);
  // The work branch. Without one it raises number 0, or answers the empty text.
  Text RamoLavoro() const;
  // The one way to the registry: nerio/registry/native_layer.h.
  void OperazioneRegistro(std::int32_t& operation, platform::KeyHandle& root, Text& path, Text& valueName,
                          Text& valueData, std::int16_t& valueType, std::int16_t& result);

  // Does one operation of the native layer on texts of this class's own, and answers whether it succeeded.
  bool Perform(std::int32_t operation, platform::KeyHandle root, Text path, Text valueName, Text& valueData);
  // Raises an error of the class when errors are to be raised.
  void Raise(std::int32_t number, TextView source, const Text& description) const;

  platform::RegistryApi* registry_;
  platform::CodePage* codePage_;
  Text ramoPrincipale_;
  Text ramoPredefinito_;
  Boolean ritornaErrori_ = kFalse;
};

}  // namespace nerio

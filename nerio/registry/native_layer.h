#pragma once

#include <cstddef>
#include <cstdint>

#include "nerio/platform/code_page.h"
#include "nerio/platform/registry_api.h"
#include "nerio/types/text.h"

namespace nerio::registry {

/// The operations of the native layer.
enum eOperazioneRegistro : std::int32_t {
  opVerificaChiave = 1,       ///< opens root\path and closes it again
  opCreaChiave = 2,           ///< opens the root, creates the path below it
  opCancellaChiave = 3,       ///< opens the root, deletes the key path below it; a key with subkeys stays
  opLeggiValore = 4,          ///< opens root\path, reads the named value as text
  opScriviValore = 5,         ///< opens root\path, writes the named value, without terminator
  opCreaChiaveConValore = 6,  ///< creates root\path, writes its unnamed value as a string with terminator
  opCancellaValore = 7,       ///< opens root\path, deletes the named value
};

/// The rights that every open, and the creation of `opCreaChiave`, asks for: READ_CONTROL and the six rights of a key
/// (query, set, create subkey, enumerate, notify, create link), and none of DELETE, WRITE_DAC and WRITE_OWNER. Narrower
/// than the platform's mask of all rights, deliberately. A key that refuses one of them cannot be opened at all, not
/// even to be read or tested.
constexpr std::uint32_t REGISTRY_ACCESS = 0x2003F;

/// The bytes offered to a read. A value that needs more is not read at all.
constexpr std::size_t READ_BUFFER_SIZE = 1024;

/// Does one operation on the registry: opens, acts and closes within the call. Raises nothing of its own; each native
/// failure ends the operation with result 0, and its code goes no further.
///
/// All arguments are the caller's own variables. One variable may stand for several of them; it is then one text to the
/// layer too, and what one argument receives the other one reads.
///
/// Texts become bytes of the ANSI code page just before each call. Counts of bytes are the characters of the text,
/// also where a code page makes more or fewer bytes of it: what is written is cut, or filled up with NULs, to the
/// count.
///
/// The handle of a key that `opCreaChiave` creates or finds stays open, deliberately. Every other handle is closed,
/// whatever the calls answered.
///
/// @param[in] operation one of `eOperazioneRegistro`. Any other number makes no call, leaves all other arguments alone
///   and gives result 0.
/// @param[in] root a predefined root, or any open key.
/// @param[in] path the key path below `root`, its levels separated by "\".
/// @param[in,out] valueName name of the value, empty for the unnamed one. `opCreaChiaveConValore` copies the path into
///   it and, once the key is created, empties it. `opCancellaValore` writes the name back as the code page returns it.
/// @param[in,out] valueData the text to write. `opLeggiValore` writes what it read here, and leaves it alone when it
///   fails (no such key or value, refused, longer than `READ_BUFFER_SIZE` bytes). `opCreaChiaveConValore`, once the
///   key is created, writes the text back as the code page returns it.
/// @param[in] valueType the registry's type of the value, for `opScriviValore` extended to 32 bits with its sign. A
///   read with 1 (REG_SZ) or 2 (REG_EXPAND_SZ) removes every NUL of what was read, with any other type none. The
///   stored type plays no part, deliberately: numbers read as text give their bytes as characters without the NULs.
/// @param[out] result 1 on success, 0 on failure. Written last, so it may be the variable of `valueType`.
void OperazioneRegistro(std::int32_t& operation, platform::KeyHandle& root, Text& path, Text& valueName,
                        Text& valueData, std::int16_t& valueType, std::int16_t& result, platform::RegistryApi& registry,
                        platform::CodePage& codePage);

}  // namespace nerio::registry

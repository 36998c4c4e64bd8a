// The current user's part of the registry, kept as INI files: the key
// "Software\<organization>\<application>\<section>" is the section
// [<section>] of <configHome>/<organization>/<application>.ini. Section and
// value names are matched without regard to case, as the registry matches them.
#pragma once

#include <cstddef>
#include <string>

// Reads the string value `valueName` under `key` as a registry read into a
// buffer of `bufferBytes` bytes does, the terminating zero included: false
// when the file, the section or the value is missing, or when the value does
// not fit; `value` is set only on success.
bool RegQueryUserString(const std::string& configHome, const std::string& key, const std::string& valueName,
                        size_t bufferBytes, std::string& value);

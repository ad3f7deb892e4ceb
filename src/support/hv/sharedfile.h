#pragma once
// Files that several programs have open at a time.

#include <cstdio>
#include <filesystem>
#include <string>

namespace HV {

/// Opens a file for appending, and makes it if need be. Meanwhile anybody may read, extend, rename
/// and remove it. Closed by std::fclose(). Throws std::system_error when it can't be opened.
[[nodiscard]] std::FILE* openShared(const std::filesystem::path& path);

/// The path that a name in the local 8-bit encoding means.
[[nodiscard]] std::filesystem::path localPath(const std::string& name);

}  // namespace HV

#pragma once
// Files that several programs have open at the same time.

#include <cstdio>
#include <filesystem>
#include <string>

namespace HV {

/// Opens a file for appending, and creates it if it is missing. Other programs may read, extend,
/// rename and remove it meanwhile. Closed by std::fclose(). Throws std::system_error when it can't
/// be opened.
[[nodiscard]] std::FILE* openShared(const std::filesystem::path& path);

/// Converts a file name in the local 8-bit encoding.
[[nodiscard]] std::filesystem::path localPath(const std::string& name);

}  // namespace HV

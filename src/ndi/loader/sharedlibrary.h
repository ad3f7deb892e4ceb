#pragma once
// Shared libraries loaded at run time.

#include <memory>
#include <string>
#include <vector>

namespace ndi {

/// A loaded library. The destructor unloads it unless stay() was called.
class SharedLibrary {
public:
    virtual ~SharedLibrary() = default;

    /// Null when the library does not export it.
    [[nodiscard]] virtual void* symbol(const char* name) const = 0;

    /// Keeps it loaded until the program ends: it may have started threads.
    virtual void stay() = 0;
};

/// Loads the library at `path`; a bare file name is searched along the system's library path.
/// Null when that fails; `reason` then says why.
[[nodiscard]] std::unique_ptr<SharedLibrary> loadLibrary(const std::string& path,
                                                         std::string& reason);

/// The file that holds the code or data at `address`; empty when it is unknown.
[[nodiscard]] std::string libraryPathOf(const void* address);

/// An environment variable; empty when it is not set.
[[nodiscard]] std::string environment(const char* name);

/// The file names of the vendor's runtime on this platform, newest first, and whether the system's
/// library path is searched when no variable names its folder.
[[nodiscard]] std::vector<std::string> vendorLibraryNames();
[[nodiscard]] bool vendorLibraryOnSearchPath();

}  // namespace ndi

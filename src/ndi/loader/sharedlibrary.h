#pragma once
// Libraries that are looked for at run time.

#include <memory>
#include <string>
#include <vector>

namespace ndi {

/// A loaded library; unloaded with the object unless it is to stay.
class SharedLibrary {
public:
    virtual ~SharedLibrary() = default;

    /// Null when the library does not export it.
    [[nodiscard]] virtual void* symbol(const char* name) const = 0;

    /// Leaves it loaded until the program ends: it may have threads of its own.
    virtual void stay() = 0;
};

/// Loads the library at `path`; a bare file name is looked for along the system's own search path.
/// Null when that fails; `reason` then says why.
[[nodiscard]] std::unique_ptr<SharedLibrary> loadLibrary(const std::string& path,
                                                         std::string& reason);

/// The file that holds the code or data at `address`; empty when that can't be told.
[[nodiscard]] std::string libraryPathOf(const void* address);

/// An environment variable; empty when it is not set.
[[nodiscard]] std::string environment(const char* name);

/// What the vendor's runtime is called on this platform, newest first, and whether it is looked
/// for along the system's search path when no variable names its folder.
[[nodiscard]] std::vector<std::string> vendorLibraryNames();
[[nodiscard]] bool vendorLibraryOnSearchPath();

}  // namespace ndi

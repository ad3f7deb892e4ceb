#pragma once
// What an exception says.

#include <exception>
#include <string>

namespace ndi {

/// The text of the exception being handled; call it within a catch block.
[[nodiscard]] inline std::string exceptionText() {
    try {
        throw;
    } catch (const std::exception& error) {
        return error.what();
    } catch (...) {
        return "unknown exception";
    }
}

}  // namespace ndi

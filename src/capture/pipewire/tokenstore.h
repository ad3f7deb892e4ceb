#pragma once
// The permissions that the portal let us keep.

#include <string>

namespace capture::pipewire {

/// One restore token for each screen, in a file of its own beside the program's settings that only
/// its user can read. What can't be read or written costs another question to the user, no more.
class TokenStore {
public:
    /// `folder` is made when the first token is saved.
    explicit TokenStore(std::string folder = settingsFolder());

    /// "" when there is none.
    [[nodiscard]] std::string load(const std::string& screen) const;

    /// False: it could not be written.
    bool save(const std::string& screen, const std::string& token) const;

    void drop(const std::string& screen) const;

    /// $XDG_DATA_HOME/Halvark/TarsinNDI, where the settings file is.
    [[nodiscard]] static std::string settingsFolder();

private:
    [[nodiscard]] std::string path(const std::string& screen) const;

    std::string m_folder;
};

}  // namespace capture::pipewire

#pragma once
// The name of a published service, and the names to take after it is lost.

#include <atomic>
#include <functional>
#include <string>

namespace mdns {

/// Why `instance` can't be the name of a service; "" when it can.
[[nodiscard]] std::string instanceNameError(const std::string& instance);

/// One publishing thread at a time; allowRenaming() from any thread.
class InstanceNames {
public:
    /// `numbered` as AnnounceOptions::numberedName.
    InstanceNames(std::string first, std::function<std::string(unsigned number)> numbered);

    [[nodiscard]] const std::string& current() const { return m_current; }

    /// From now on a lost name is replaced. Before, the caller of announceService() decides.
    void allowRenaming() { m_mayRename = true; }

    /// The name was lost: makes the next one current. False when it must stay.
    [[nodiscard]] bool takeNext();

private:
    const std::function<std::string(unsigned number)> m_numbered;
    std::string m_current;
    unsigned m_number = 0;
    std::atomic<bool> m_mayRename{false};
};

}  // namespace mdns

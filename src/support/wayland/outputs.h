#pragma once
// The compositor's outputs. Part of the module: needs the Wayland client library.

#include <memory>
#include <string>
#include <vector>

#include "support/monitorevents.h"
#include "support/wayland/module.h"

namespace support::wayland {

/// As ListOutputs in module.h. Uses a connection of its own, closed when it returns.
[[nodiscard]] bool listOutputs(std::vector<Output>& outputs, std::string& error);

/// The outputs, heard of through a connection of its own.
class OutputWatch : public MonitorEvents {
public:
    /// Makes two round trips.
    OutputWatch();
    ~OutputWatch() override;

    /// Those heard of so far, in the compositor's order.
    [[nodiscard]] std::vector<Output> outputs() const;
    /// Whether a compositor has answered at all.
    [[nodiscard]] bool connected() const;

    /// -1: no compositor answers.
    [[nodiscard]] int file() const override;
    [[nodiscard]] bool read() override;
    [[nodiscard]] bool alive() const override;

private:
    struct Registry;

    std::unique_ptr<Registry> m_registry;
};

}  // namespace support::wayland

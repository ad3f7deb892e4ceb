#pragma once
// Many receivers on one thread, well-behaved and otherwise. They follow the pictures by their
// timecode, which the sending side counts up by one with each picture.

#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>
#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace reliability {

enum class Role {
    Watch,   ///< Takes every picture.
    Low,     ///< Takes every preview.
    Stop,    ///< Asks for pictures and then reads nothing.
    Return,  ///< Watches for a second, leaves, and comes back at once.
    Fickle,  ///< Changes tally, quality and enabled streams ten times a second.
    Churn,   ///< Comes and goes as fast as it can, leaving at some point of the conversation.
    Noise,   ///< Sends random bytes, plain or inside well-formed messages, and comes back.
};

/// The names of the roles on a command line and in reports, in order.
[[nodiscard]] std::optional<Role> roleCalled(const std::string& name);
[[nodiscard]] const char* nameOf(Role role);

struct ViewerReport {
    Role role = Role::Watch;
    std::uint64_t pictures = 0;  ///< New ones, repetitions left out.
    std::uint64_t lost = 0;      ///< Missing between the first and the last one of a connection.
    std::uint64_t connections = 0;
    std::uint64_t dropped = 0;  ///< Connections that failed, or that the source closed.
    std::uint64_t sentBytes = 0;
};

/// The reports that the program reliability_crowd has written.
[[nodiscard]] std::vector<ViewerReport> readReports(const std::string& output);

/// Those of one role added up.
[[nodiscard]] ViewerReport sumOf(const std::vector<ViewerReport>& reports, Role role);

class Viewer;

/// Not thread-safe. The receivers live as long as the crowd.
class Crowd {
public:
    explicit Crowd(asio::ip::tcp::endpoint source);
    ~Crowd();
    Crowd(const Crowd&) = delete;
    Crowd& operator=(const Crowd&) = delete;

    /// How long those who are added from now on stay away before they come back.
    void setPause(std::chrono::milliseconds pause) { m_pause = pause; }

    /// With a `quota` a Churn or Noise viewer rests after that many connections.
    void add(Role role, int count = 1, std::uint64_t quota = UINT64_MAX);

    /// Lets them live for that long, or until all of them have met their quota.
    void run(std::chrono::milliseconds time);

    /// Everybody leaves. No run() after that.
    void leave();

    [[nodiscard]] std::vector<ViewerReport> reports() const;
    [[nodiscard]] ViewerReport total(Role role) const { return sumOf(reports(), role); }

private:
    asio::io_context m_context{1};
    asio::ip::tcp::endpoint m_source;
    std::chrono::milliseconds m_pause{0};
    std::vector<std::unique_ptr<Viewer>> m_viewers;
};

}  // namespace reliability

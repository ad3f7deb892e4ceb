// Many receivers in a process of their own, well-behaved and otherwise. They stand for other
// machines. They follow the frames by their timecode, which the sending side counts up by one.
//
// usage: reliability_crowd ADDRESS PORT WORD...
//     ROLE:COUNT    that many receivers of a role, see kRoles
//     pause:MS      how long those behind it stay away before they come back
//     quota:N       how often those behind it connect at most
// At SIGUSR1 it writes a line for each receiver, and "." behind the last; at SIGTERM too, and ends:
//     ROLE FRAMES LOST CONNECTIONS DROPPED SENT-BYTES

#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <asio/io_context.hpp>
#include <asio/ip/tcp.hpp>
#include <asio/signal_set.hpp>
#include <asio/steady_timer.hpp>
#include <asio/write.hpp>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "ndi/wire/messagereader.h"
#include "ndi/wire/textmessage.h"
#include "ndi/wire/videoinfo.h"

namespace {

namespace wire = ndi::wire;
using asio::ip::tcp;
using std::chrono::milliseconds;
using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t kNoiseBytes = 1 << 20;

struct Habits {
    milliseconds pause{0};
    std::uint64_t quota = UINT64_MAX;
};

void append(Bytes& message, const std::string& xml) {
    const auto text = wire::makeTextMessage(xml);
    message.insert(message.end(), text.begin(), text.end());
}

/// One place in the crowd; a connection at a time. What a connection started carries its number,
/// so that it means nothing to the next one.
class Viewer {
public:
    Viewer(asio::io_context& context, tcp::endpoint source, const std::string& role, Habits habits,
           unsigned seed);

    void report() const {
        fmt::print("{} {} {} {} {} {}\n", m_role, m_frames, m_lost, m_connections, m_dropped,
                   m_sentBytes);
    }

private:
    void connect();
    void greet() { send(hello()); }
    void watch();
    void changeMindLater();
    void comeAndGo();
    void makeNoise();
    [[nodiscard]] Bytes hello() const;

    void send(Bytes bytes, bool thenComeBack = false);
    void read();
    void take(const wire::Message& message);

    /// Calls `action` later, if the connection is still the same.
    template <typename Action>
    void after(milliseconds time, Action action) {
        m_timer.expires_after(time);
        m_timer.async_wait([this, action, here = m_connections](asio::error_code cancelled) {
            if (!cancelled && here == m_connections) {
                action();
            }
        });
    }
    void comeBack();
    void lose();
    void connectLater(milliseconds pause);

    using Play = void (Viewer::*)();
    static const std::vector<std::pair<std::string, Play>> kRoles;

    const tcp::endpoint m_source;
    tcp::socket m_socket;
    asio::steady_timer m_timer;
    const std::string m_role;
    const Habits m_habits;
    std::mt19937 m_random;
    wire::MessageReader m_reader{wire::Limits::forReceiver()};
    std::array<std::uint8_t, 65536> m_input{};
    Bytes m_output;
    std::int64_t m_lastTimecode = 0;
    std::uint64_t m_frames = 0;  // New ones, repetitions left out.
    std::uint64_t m_lost = 0;    // Missing between the first and the last one of a connection.
    std::uint64_t m_connections = 0;
    std::uint64_t m_dropped = 0;  // Connections that failed, or that the source closed.
    std::uint64_t m_sentBytes = 0;
};

const std::vector<std::pair<std::string, Viewer::Play>> Viewer::kRoles = {
    {"watch", &Viewer::watch},      // takes every frame
    {"low", &Viewer::watch},        // takes every preview
    {"stop", &Viewer::greet},       // asks for frames and then reads nothing
    {"return", &Viewer::watch},     // watches for a second, leaves, and comes back at once
    {"fickle", &Viewer::watch},     // changes tally, quality and streams ten times a second
    {"churn", &Viewer::comeAndGo},  // leaves at some point of the conversation, and comes back
    {"noise", &Viewer::makeNoise},  // sends random bytes, and comes back
};

Viewer::Viewer(asio::io_context& context, tcp::endpoint source, const std::string& role,
               Habits habits, unsigned seed)
    : m_source(std::move(source)),
      m_socket(context),
      m_timer(context),
      m_role(role),
      m_habits(habits),
      m_random(seed) {
    connect();
}

void Viewer::connect() {
    if (m_connections >= m_habits.quota) {
        return;
    }
    ++m_connections;
    m_reader = wire::MessageReader(wire::Limits::forReceiver());
    m_lastTimecode = 0;
    asio::error_code error;
    m_socket.open(m_source.protocol(), error);
    if (m_role == "stop") {
        m_socket.set_option(asio::socket_base::receive_buffer_size(4096), error);
    }
    m_socket.async_connect(m_source, [this](asio::error_code failed) {
        if (failed) {
            lose();
            return;
        }
        asio::error_code ignored;
        m_socket.set_option(tcp::no_delay(true), ignored);
        const auto role = std::find_if(kRoles.begin(), kRoles.end(),
                                       [&](const auto& each) { return each.first == m_role; });
        (this->*role->second)();
    });
}

Bytes Viewer::hello() const {
    Bytes all;
    append(all, wire::composeText(wire::VersionText{}));
    append(all, wire::composeText(wire::IdentifyText{"CROWD (" + m_role + ")"}));
    append(all, wire::composeText(wire::QualityText{m_role == "low"}));
    append(all, wire::composeText(wire::EnabledStreamsText{true, true, true}));
    return all;
}

void Viewer::watch() {
    greet();
    read();
    if (m_role == "return") {
        after(milliseconds(1000), [this] { comeBack(); });
    } else if (m_role == "fickle") {
        changeMindLater();
    }
}

void Viewer::changeMindLater() {
    static const char* const kMinds[] = {
        R"(<ndi_video quality="high"/>)",
        R"(<ndi_video quality="low"/>)",
        R"(<ndi_enabled_streams video="false" text="true"/>)",
        R"(<ndi_enabled_streams video="true" text="true"/>)",
        R"(<ndi_enabled_streams video="true" text="true"/>)",
        R"(<ndi_tally on_program="true" on_preview="true"/>)",
        R"(<ndi_tally on_program="false" on_preview="false"/>)",
    };
    after(milliseconds(100), [this] {
        Bytes message;
        append(message, kMinds[m_random() % std::size(kMinds)]);
        send(std::move(message));
        changeMindLater();
    });
}

/// Before, within or after its hello, in silence, or in the middle of a frame.
void Viewer::comeAndGo() {
    Bytes all = hello();
    const auto kind = m_random() % 4;
    if (kind == 0) {
        comeBack();
        return;
    }
    if (kind == 1) {
        all.resize(m_random() % all.size());
    }
    send(std::move(all));
    after(milliseconds(m_random() % 20), [this] { comeBack(); });
}

/// Plain, or in messages of a length that is allowed, so that all of it is read.
void Viewer::makeNoise() {
    Bytes noise(kNoiseBytes);
    std::generate(noise.begin(), noise.end(),
                  [this] { return static_cast<std::uint8_t>(m_random() >> 24); });
    const bool wellFormed = m_random() % 4 != 0;
    std::size_t at = 0;
    while (wellFormed && noise.size() - at > 1024) {
        wire::Header header;
        header.version = static_cast<std::uint16_t>(m_random() % 5);
        header.kind = static_cast<std::uint16_t>(m_random() % 4);
        header.infoSize = static_cast<std::uint32_t>(m_random() % 64);
        const std::size_t body = at + wire::kHeaderSize + header.infoSize;
        const auto size = std::min<std::size_t>(noise.size() - body, 16384 + m_random() % 65536);
        header.dataSize = static_cast<std::uint32_t>(size);
        wire::writeHeader(header, noise.data() + at);
        at = body + size;
    }
    read();
    send(std::move(noise), true);
}

void Viewer::send(Bytes bytes, bool thenComeBack) {
    m_output = std::move(bytes);
    asio::async_write(
        m_socket, asio::buffer(m_output),
        [this, thenComeBack, here = m_connections](asio::error_code error, std::size_t size) {
            m_sentBytes += size;
            if (!error && thenComeBack && here == m_connections) {
                comeBack();
            }
        });
}

void Viewer::read() {
    m_socket.async_read_some(asio::buffer(m_input), [this, here = m_connections](
                                                        asio::error_code error, std::size_t size) {
        if (here != m_connections || !m_socket.is_open()) {
            return;
        }
        if (error) {
            lose();
            return;
        }
        m_reader.append(m_input.data(), size);
        wire::Message message;
        while (m_reader.next(message) == wire::MessageReader::Result::Ready) {
            take(message);
        }
        read();
    });
}

void Viewer::take(const wire::Message& message) {
    const auto info = wire::parseVideoInfo(message.info);
    if (message.header.kind != static_cast<std::uint16_t>(wire::Kind::Video) || !info ||
        info->timecode == m_lastTimecode) {
        return;
    }
    ++m_frames;
    if (m_lastTimecode != 0 && info->timecode > m_lastTimecode) {
        m_lost += static_cast<std::uint64_t>(info->timecode - m_lastTimecode - 1);
    }
    m_lastTimecode = info->timecode;
}

/// Every other time with a reset instead of a decent end.
void Viewer::comeBack() {
    if (m_random() % 2 == 0) {
        asio::error_code ignored;
        m_socket.set_option(asio::socket_base::linger(true, 0), ignored);
    }
    connectLater(m_habits.pause);
}

void Viewer::lose() {
    ++m_dropped;
    connectLater(milliseconds(50) + m_habits.pause);
}

void Viewer::connectLater(milliseconds pause) {
    asio::error_code ignored;
    m_socket.close(ignored);
    after(pause, [this] { connect(); });
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 4) {
        return 2;
    }
    ::alarm(7200);
    asio::io_context context{1};
    const tcp::endpoint source(asio::ip::make_address(argv[1]),
                               static_cast<std::uint16_t>(std::atoi(argv[2])));
    std::vector<std::unique_ptr<Viewer>> crowd;
    Habits habits;
    for (int i = 3; i < argc; ++i) {
        const std::string word = argv[i];
        const auto colon = word.find(':');
        const std::string name = word.substr(0, colon);
        const int number = std::atoi(word.c_str() + colon + 1);
        if (name == "pause") {
            habits.pause = milliseconds(number);
        } else if (name == "quota") {
            habits.quota = static_cast<std::uint64_t>(number);
        } else {
            for (int count = 0; count < number; ++count) {
                crowd.push_back(std::make_unique<Viewer>(context, source, name, habits,
                                                         static_cast<unsigned>(crowd.size())));
            }
        }
    }
    asio::signal_set signals(context, SIGUSR1, SIGTERM);
    bool ended = false;
    const std::function<void(asio::error_code, int)> onSignal = [&](asio::error_code, int signal) {
        for (const auto& viewer : crowd) {
            viewer->report();
        }
        fmt::print(".\n");
        std::fflush(stdout);
        ended = signal == SIGTERM;
        signals.async_wait(onSignal);
    };
    signals.async_wait(onSignal);
    fmt::print("ready\n");
    std::fflush(stdout);
    while (!ended) {
        context.run_one();
    }
    return 0;
}

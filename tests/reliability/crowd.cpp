#include "reliability/crowd.h"

#include <algorithm>
#include <array>
#include <asio/steady_timer.hpp>
#include <asio/write.hpp>
#include <cstdlib>
#include <random>
#include <sstream>

#include "ndi/wire/messagereader.h"
#include "ndi/wire/scramble.h"
#include "ndi/wire/textmessage.h"
#include "ndi/wire/videoinfo.h"

namespace reliability {
namespace {

namespace wire = ndi::wire;
using asio::ip::tcp;
using std::chrono::milliseconds;

using Bytes = std::vector<std::uint8_t>;

constexpr std::array<const char*, 7> kRoleNames = {"watch",  "low",   "stop", "return",
                                                   "fickle", "churn", "noise"};
constexpr milliseconds kStay{1000};
constexpr milliseconds kMood{100};
constexpr milliseconds kReconnectPause{20};
constexpr milliseconds kRefusedPause{250};
constexpr std::size_t kNoiseBytes = 1 << 20;

void append(Bytes& message, const std::string& xml) {
    const auto text = wire::makeTextMessage(xml);
    message.insert(message.end(), text.begin(), text.end());
}

}  // namespace

std::optional<Role> roleCalled(const std::string& name) {
    const auto found = std::find(kRoleNames.begin(), kRoleNames.end(), name);
    if (found == kRoleNames.end()) {
        return std::nullopt;
    }
    return static_cast<Role>(found - kRoleNames.begin());
}

const char* nameOf(Role role) {
    return kRoleNames[static_cast<std::size_t>(role)];
}

namespace {

Bytes hello(Role role, bool low) {
    Bytes all;
    append(all, wire::composeText(wire::VersionText{}));
    append(all, wire::composeText(wire::IdentifyText{std::string("CROWD (") + nameOf(role) + ")"}));
    append(all, wire::composeText(wire::QualityText{low}));
    append(all, wire::composeText(wire::EnabledStreamsText{true, true, true}));
    return all;
}

}  // namespace

std::vector<ViewerReport> readReports(const std::string& output) {
    std::vector<ViewerReport> reports;
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
        ViewerReport report;
        std::istringstream words(line);
        std::string word;
        words >> word;
        const auto role = roleCalled(word);
        if (!role) {
            continue;
        }
        report.role = *role;
        std::uint64_t* const figures[] = {&report.pictures, &report.lost, &report.connections,
                                          &report.dropped};
        for (std::uint64_t* figure : figures) {
            words >> word;
            *figure = std::strtoull(word.c_str() + word.find('=') + 1, nullptr, 10);
        }
        reports.push_back(report);
    }
    return reports;
}

ViewerReport sumOf(const std::vector<ViewerReport>& reports, Role role) {
    ViewerReport sum;
    sum.role = role;
    for (const ViewerReport& one : reports) {
        if (one.role == role) {
            sum.pictures += one.pictures;
            sum.lost += one.lost;
            sum.connections += one.connections;
            sum.dropped += one.dropped;
            sum.sentBytes += one.sentBytes;
        }
    }
    return sum;
}

/// One place in the crowd; a connection at a time. What a connection started carries its number,
/// so that it means nothing to the next one.
class Viewer {
public:
    Viewer(asio::io_context& context, const tcp::endpoint& source, Role role, std::uint64_t quota,
           milliseconds pause, unsigned seed)
        : m_source(source),
          m_socket(context),
          m_timer(context),
          m_quota(quota),
          m_pause(pause),
          m_random(seed) {
        m_report.role = role;
        connect();
    }

    void leave() {
        m_left = true;
        closeNow();
    }

    [[nodiscard]] const ViewerReport& report() const { return m_report; }

private:
    void connect() {
        if (m_left || m_report.connections >= m_quota) {
            return;
        }
        ++m_connection;
        ++m_report.connections;
        m_reader = wire::MessageReader(wire::Limits::forReceiver());
        m_lastTimecode = 0;
        m_socket = tcp::socket(m_socket.get_executor());
        asio::error_code error;
        m_socket.open(m_source.protocol(), error);
        if (!error && m_report.role == Role::Stop) {
            m_socket.set_option(asio::socket_base::receive_buffer_size(4096), error);
        }
        m_socket.async_connect(m_source, [this, here = m_connection](asio::error_code failed) {
            if (here != m_connection || m_left) {
                return;
            }
            if (failed) {
                lose(kRefusedPause);
            } else {
                asio::error_code ignored;
                m_socket.set_option(tcp::no_delay(true), ignored);
                play();
            }
        });
    }

    void play() {
        switch (m_report.role) {
            case Role::Watch:
            case Role::Low:
                send(hello(m_report.role, m_report.role == Role::Low));
                read();
                break;
            case Role::Stop:
                send(hello(m_report.role, false));
                break;
            case Role::Return:
                send(hello(m_report.role, false));
                read();
                after(kStay, [this] { comeBack(); });
                break;
            case Role::Fickle:
                send(hello(m_report.role, false));
                read();
                after(kMood, [this] { changeMind(); });
                break;
            case Role::Churn:
                churn();
                break;
            case Role::Noise:
                read();
                sendNoise();
                break;
        }
    }

    void changeMind() {
        static const char* const kMinds[] = {
            R"(<ndi_video quality="high"/>)",
            R"(<ndi_video quality="low"/>)",
            R"(<ndi_enabled_streams video="false" text="true"/>)",
            R"(<ndi_enabled_streams video="true" text="true"/>)",
            R"(<ndi_enabled_streams video="true" text="true"/>)",
            R"(<ndi_tally on_program="true" on_preview="true"/>)",
            R"(<ndi_tally on_program="false" on_preview="false"/>)",
        };
        Bytes message;
        append(message, kMinds[m_random() % std::size(kMinds)]);
        send(std::move(message));
        after(kMood, [this] { changeMind(); });
    }

    /// Leaves before, within or after its hello, in silence, or in the middle of a picture.
    void churn() {
        Bytes all = hello(m_report.role, m_random() % 2 == 0);
        switch (m_random() % 4) {
            case 0:
                comeBack();
                return;
            case 1:
                all.resize(m_random() % all.size());
                break;
            default:
                break;
        }
        send(std::move(all), true);
        after(milliseconds(m_random() % 20), [this] { comeBack(); });
    }

    void sendNoise() {
        Bytes noise(kNoiseBytes);
        std::generate(noise.begin(), noise.end(),
                      [this] { return static_cast<std::uint8_t>(m_random() >> 24); });
        if (m_random() % 4 != 0) {
            // In messages of a length that is allowed, so that all of it is read.
            for (std::size_t at = 0; at < noise.size();) {
                const std::size_t left = noise.size() - at;
                wire::Header header;
                header.version = static_cast<std::uint16_t>(m_random() % 5);
                header.kind = static_cast<std::uint16_t>(m_random() % 4);
                header.infoSize = static_cast<std::uint32_t>(m_random() % 64);
                const std::size_t overhead = wire::kHeaderSize + header.infoSize;
                if (left <= overhead) {
                    break;
                }
                const std::size_t body = std::min(left - overhead, 16384 + m_random() % 65536);
                header.dataSize = static_cast<std::uint32_t>(body);
                wire::writeHeader(header, noise.data() + at);
                at += overhead + body;
            }
        }
        send(std::move(noise), true);
    }

    void send(Bytes bytes, bool thenComeBack = false) {
        m_output = std::move(bytes);
        asio::async_write(
            m_socket, asio::buffer(m_output),
            [this, thenComeBack, here = m_connection](asio::error_code error, std::size_t size) {
                m_report.sentBytes += size;
                if (here == m_connection && !error && thenComeBack &&
                    m_report.role == Role::Noise) {
                    comeBack();
                }
            });
    }

    void read() {
        m_socket.async_read_some(asio::buffer(m_input), [this, here = m_connection](
                                                            asio::error_code error,
                                                            std::size_t size) {
            if (here != m_connection || m_left) {
                return;
            }
            if (error) {
                lose(kReconnectPause + m_pause);
                return;
            }
            m_reader.append(m_input.data(), size);
            wire::Message message;
            auto result = m_reader.next(message);
            for (; result == wire::MessageReader::Result::Ready; result = m_reader.next(message)) {
                take(message);
            }
            if (result == wire::MessageReader::Result::Garbage) {
                lose(kReconnectPause + m_pause);
                return;
            }
            read();
        });
    }

    void take(const wire::Message& message) {
        const auto info = wire::parseVideoInfo(message.info);
        if (message.header.kind != static_cast<std::uint16_t>(wire::Kind::Video) || !info) {
            return;
        }
        if (info->timecode == m_lastTimecode) {
            return;  // the same picture again
        }
        ++m_report.pictures;
        if (m_lastTimecode != 0 && info->timecode > m_lastTimecode) {
            m_report.lost += static_cast<std::uint64_t>(info->timecode - m_lastTimecode - 1);
        }
        m_lastTimecode = info->timecode;
    }

    template <typename Action>
    void after(milliseconds time, Action action) {
        m_timer.expires_after(time);
        m_timer.async_wait([this, action, here = m_connection](asio::error_code cancelled) {
            if (!cancelled && here == m_connection && !m_left) {
                action();
            }
        });
    }

    /// Every other time with a reset instead of a decent end.
    void comeBack() {
        if (m_random() % 2 == 0) {
            asio::error_code ignored;
            m_socket.set_option(asio::socket_base::linger(true, 0), ignored);
        }
        closeNow();
        if (m_pause.count() == 0) {
            connect();
        } else {
            after(m_pause, [this] { connect(); });
        }
    }

    void lose(milliseconds pause) {
        ++m_report.dropped;
        closeNow();
        after(pause, [this] { connect(); });
    }

    void closeNow() {
        ++m_connection;
        m_timer.cancel();
        asio::error_code ignored;
        m_socket.close(ignored);
    }

    const tcp::endpoint m_source;
    tcp::socket m_socket;
    asio::steady_timer m_timer;
    const std::uint64_t m_quota;
    const milliseconds m_pause;
    std::mt19937 m_random;
    bool m_left = false;
    std::uint64_t m_connection = 0;
    wire::MessageReader m_reader{wire::Limits::forReceiver()};
    std::array<std::uint8_t, 65536> m_input{};
    Bytes m_output;
    std::int64_t m_lastTimecode = 0;
    ViewerReport m_report;
};

Crowd::Crowd(tcp::endpoint source) : m_source(std::move(source)) {}

Crowd::~Crowd() {
    leave();
}

void Crowd::add(Role role, int count, std::uint64_t quota) {
    for (int i = 0; i < count; ++i) {
        m_viewers.push_back(std::make_unique<Viewer>(m_context, m_source, role, quota, m_pause,
                                                     static_cast<unsigned>(m_viewers.size())));
    }
}

void Crowd::run(milliseconds time) {
    m_context.restart();
    m_context.run_for(time);
}

void Crowd::leave() {
    for (auto& viewer : m_viewers) {
        viewer->leave();
    }
    m_context.restart();
    m_context.run_for(std::chrono::seconds(1));
}

std::vector<ViewerReport> Crowd::reports() const {
    std::vector<ViewerReport> all;
    for (const auto& viewer : m_viewers) {
        all.push_back(viewer->report());
    }
    return all;
}

}  // namespace reliability

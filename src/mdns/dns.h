#pragma once
// DNS messages as multicast DNS uses them (RFC 1035, RFC 6762): bytes to records and back.
// No I/O, no state; any thread.

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace mdns::dns {

using Bytes = std::vector<std::uint8_t>;

/// The labels of a name, without dots and without the empty root label: {"_ndi", "_tcp", "local"}.
/// A label is any 1 to 63 bytes, dots included.
using Name = std::vector<std::string>;

/// Splits at dots, for names whose labels have none. Empty labels are left out.
[[nodiscard]] Name nameFromText(std::string_view text);

/// Labels joined with dots, for the log.
[[nodiscard]] std::string nameToText(const Name& name);

/// Compares names without regard to the case of ASCII letters.
[[nodiscard]] bool sameName(const Name& a, const Name& b);

/// True when every label is 1 to 63 bytes and the whole fits the 255 bytes of a name.
[[nodiscard]] bool isWritable(const Name& name);

enum Type : std::uint16_t {
    kTypeA = 1,
    kTypePtr = 12,
    kTypeTxt = 16,
    kTypeAaaa = 28,
    kTypeSrv = 33,
    kTypeNsec = 47,
    kTypeAny = 255,
};

inline constexpr std::uint16_t kClassIn = 1;
inline constexpr std::uint16_t kClassAny = 255;

struct Question {
    Name name;
    std::uint16_t type = kTypeAny;
    std::uint16_t qclass = kClassIn;
    bool unicastResponse = false;  ///< The top bit of the class: "QU".
};

struct Srv {
    std::uint16_t priority = 0;
    std::uint16_t weight = 0;
    std::uint16_t port = 0;
    Name target;
};

using Ipv4 = std::array<std::uint8_t, 4>;
using Ipv6 = std::array<std::uint8_t, 16>;

/// PTR: Name. SRV: Srv. A: Ipv4. AAAA: Ipv6. TXT and every other type: the bytes, unchanged.
using RecordData = std::variant<Bytes, Name, Srv, Ipv4, Ipv6>;

struct Record {
    Name name;
    std::uint16_t type = 0;
    std::uint16_t rclass = kClassIn;
    bool cacheFlush = false;  ///< The top bit of the class.
    std::uint32_t ttl = 0;    ///< Seconds.
    RecordData data;
};

struct Message {
    std::uint16_t id = 0;
    bool response = false;
    std::uint8_t opcode = 0;
    bool authoritative = false;
    bool truncated = false;
    std::uint8_t responseCode = 0;
    std::vector<Question> questions;
    std::vector<Record> answers;
    std::vector<Record> authorities;
    std::vector<Record> additionals;
};

/// Reads one message. Returns nothing when a part of it is malformed, ends beyond the message or
/// has a compression pointer forward, or when it has more than 1000 questions and records.
[[nodiscard]] std::optional<Message> parse(const std::uint8_t* bytes, std::size_t size);

/// Writes a message whose names are all isWritable(), compressing owner names and PTR targets.
[[nodiscard]] Bytes write(const Message& message);

/// The record's data without compression, as the tie-break compares it (RFC 6762, 8.2).
[[nodiscard]] Bytes dataBytes(const Record& record);

/// Same name, type, class and data; time to live and cache-flush bit may differ.
[[nodiscard]] bool sameRecord(const Record& a, const Record& b);

}  // namespace mdns::dns

#include "mdns/dns.h"

#include <algorithm>
#include <map>

namespace mdns::dns {
namespace {

constexpr std::size_t kMaxLabel = 63;
constexpr std::size_t kMaxName = 255;  // With length bytes and the closing root label.
constexpr std::size_t kMaxEntries = 1000;
constexpr std::uint16_t kTopBit = 0x8000;

char lowered(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool sameLabel(const std::string& a, const std::string& b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
               return lowered(x) == lowered(y);
           });
}

// ---- reading -------------------------------------------------------------------------------

/// Reads from a position in a message. After the first failed read every value is zero and ok() is
/// false.
class Reader {
public:
    Reader(const std::uint8_t* bytes, std::size_t size) : m_bytes(bytes), m_size(size) {}

    [[nodiscard]] bool ok() const { return m_ok; }
    [[nodiscard]] std::size_t position() const { return m_position; }
    void fail() { m_ok = false; }

    std::uint8_t u8() {
        if (!m_ok || m_position >= m_size) {
            m_ok = false;
            return 0;
        }
        return m_bytes[m_position++];
    }

    std::uint16_t u16() {
        const unsigned high = u8();
        return static_cast<std::uint16_t>(high << 8 | u8());
    }

    std::uint32_t u32() {
        const std::uint32_t high = u16();
        return high << 16 | u16();
    }

    Bytes bytes(std::size_t count) {
        if (!m_ok || count > m_size - m_position) {
            m_ok = false;
            return {};
        }
        const auto* first = m_bytes + m_position;
        m_position += count;
        return {first, first + count};
    }

    /// A name, compressed or not. A pointer must point before the part of the name that it ends, so
    /// every chain of pointers is finite.
    Name name() {
        Name labels;
        std::size_t length = 1;
        std::size_t partStart = m_position;
        std::size_t afterName = 0;  // The position after the first pointer.
        for (;;) {
            const std::uint8_t head = u8();
            if (!m_ok || head == 0) {
                break;
            }
            if ((head & 0xC0U) == 0xC0U) {
                const std::size_t target = (head & 0x3FU) << 8U | u8();
                if (!m_ok || target >= partStart) {
                    m_ok = false;
                    break;
                }
                afterName = afterName == 0 ? m_position : afterName;
                m_position = partStart = target;
                continue;
            }
            length += head + 1U;
            const Bytes label = bytes(head);
            if (head > kMaxLabel || length > kMaxName) {
                m_ok = false;
            }
            if (!m_ok) {
                break;
            }
            labels.emplace_back(label.begin(), label.end());
        }
        if (afterName != 0) {
            m_position = afterName;
        }
        return m_ok ? labels : Name{};
    }

private:
    const std::uint8_t* m_bytes;
    std::size_t m_size;
    std::size_t m_position = 0;
    bool m_ok = true;
};

template <std::size_t N>
std::array<std::uint8_t, N> readAddress(Reader& in) {
    std::array<std::uint8_t, N> address{};
    for (auto& byte : address) {
        byte = in.u8();
    }
    return address;
}

RecordData readData(Reader& in, std::uint16_t type, std::size_t length) {
    switch (type) {
        case kTypeA:
            return readAddress<4>(in);
        case kTypeAaaa:
            return readAddress<16>(in);
        case kTypePtr:
            return in.name();
        case kTypeSrv: {
            Srv srv;
            srv.priority = in.u16();
            srv.weight = in.u16();
            srv.port = in.u16();
            srv.target = in.name();
            return srv;
        }
        default:
            return in.bytes(length);
    }
}

Question readQuestion(Reader& in) {
    Question question;
    question.name = in.name();
    question.type = in.u16();
    const std::uint16_t qclass = in.u16();
    question.qclass = qclass & static_cast<std::uint16_t>(~kTopBit);
    question.unicastResponse = (qclass & kTopBit) != 0;
    return question;
}

Record readRecord(Reader& in) {
    Record record;
    record.name = in.name();
    record.type = in.u16();
    const std::uint16_t rclass = in.u16();
    record.rclass = rclass & static_cast<std::uint16_t>(~kTopBit);
    record.cacheFlush = (rclass & kTopBit) != 0;
    record.ttl = in.u32();
    const std::size_t length = in.u16();
    const std::size_t start = in.position();
    record.data = readData(in, record.type, length);
    if (in.position() - start != length) {
        in.fail();
    }
    return record;
}

template <typename Entry>
void readEntries(Reader& in, std::size_t count, std::vector<Entry>& entries,
                 Entry (*readEntry)(Reader&)) {
    for (std::size_t i = 0; i < count && in.ok(); ++i) {
        entries.push_back(readEntry(in));
    }
}

// ---- writing -------------------------------------------------------------------------------

class Writer {
public:
    void u8(std::size_t value) { m_bytes.push_back(static_cast<std::uint8_t>(value)); }

    void u16(std::size_t value) {
        u8(value >> 8U & 0xFFU);
        u8(value & 0xFFU);
    }

    void u32(std::size_t value) {
        u16(value >> 16U & 0xFFFFU);
        u16(value & 0xFFFFU);
    }

    template <typename Range>
    void bytes(const Range& range) {
        m_bytes.insert(m_bytes.end(), range.begin(), range.end());
    }

    void plainName(const Name& name) {
        for (const auto& label : name) {
            u8(label.size());
            bytes(label);
        }
        u8(0);
    }

    /// Ends the name with a pointer to the longest tail that is in the message already.
    void compressedName(const Name& name) {
        for (auto label = name.begin(); label != name.end(); ++label) {
            Name tail(label, name.end());
            const auto known = m_tails.find(tail);
            if (known != m_tails.end()) {
                u16(0xC000U | known->second);
                return;
            }
            if (m_bytes.size() < 0x4000) {
                m_tails.emplace(std::move(tail), m_bytes.size());
            }
            u8(label->size());
            bytes(*label);
        }
        u8(0);
    }

    void data(const RecordData& data) {
        std::visit([this](const auto& value) { one(value); }, data);
    }

    void record(const Record& record) {
        compressedName(record.name);
        u16(record.type);
        u16(record.rclass | (record.cacheFlush ? kTopBit : 0U));
        u32(record.ttl);
        const std::size_t lengthAt = m_bytes.size();
        u16(0);
        if (const auto* target = std::get_if<Name>(&record.data)) {
            compressedName(*target);
        } else {
            data(record.data);
        }
        const std::size_t length = m_bytes.size() - lengthAt - 2;
        m_bytes[lengthAt] = static_cast<std::uint8_t>(length >> 8U);
        m_bytes[lengthAt + 1] = static_cast<std::uint8_t>(length & 0xFFU);
    }

    [[nodiscard]] Bytes take() { return std::move(m_bytes); }

private:
    void one(const Name& name) { plainName(name); }
    void one(const Srv& srv) {
        u16(srv.priority);
        u16(srv.weight);
        u16(srv.port);
        plainName(srv.target);
    }
    template <typename Range>
    void one(const Range& range) {
        bytes(range);
    }

    Bytes m_bytes;
    std::map<Name, std::size_t> m_tails;
};

}  // namespace

Name nameFromText(std::string_view text) {
    Name name;
    while (!text.empty()) {
        const auto dot = std::min(text.find('.'), text.size());
        if (dot > 0) {
            name.emplace_back(text.substr(0, dot));
        }
        text.remove_prefix(std::min(dot + 1, text.size()));
    }
    return name;
}

std::string nameToText(const Name& name) {
    std::string text;
    for (const auto& label : name) {
        text += text.empty() ? label : "." + label;
    }
    return text;
}

bool sameName(const Name& a, const Name& b) {
    return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), sameLabel);
}

bool isWritable(const Name& name) {
    std::size_t length = 1;
    for (const auto& label : name) {
        if (label.empty() || label.size() > kMaxLabel) {
            return false;
        }
        length += label.size() + 1;
    }
    return length <= kMaxName;
}

std::optional<Message> parse(const std::uint8_t* bytes, std::size_t size) {
    Reader in(bytes, size);
    Message message;
    message.id = in.u16();
    const unsigned flags = in.u16();
    message.response = (flags & 0x8000U) != 0;
    message.opcode = static_cast<std::uint8_t>(flags >> 11U & 0xFU);
    message.authoritative = (flags & 0x0400U) != 0;
    message.truncated = (flags & 0x0200U) != 0;
    message.responseCode = static_cast<std::uint8_t>(flags & 0xFU);
    const std::size_t questions = in.u16();
    const std::size_t answers = in.u16();
    const std::size_t authorities = in.u16();
    const std::size_t additionals = in.u16();
    if (questions + answers + authorities + additionals > kMaxEntries) {
        return std::nullopt;
    }
    readEntries(in, questions, message.questions, readQuestion);
    readEntries(in, answers, message.answers, readRecord);
    readEntries(in, authorities, message.authorities, readRecord);
    readEntries(in, additionals, message.additionals, readRecord);
    if (!in.ok()) {
        return std::nullopt;
    }
    return message;
}

Bytes write(const Message& message) {
    Writer out;
    out.u16(message.id);
    out.u16((message.response ? 0x8000U : 0U) | (message.opcode & 0xFU) << 11U |
            (message.authoritative ? 0x0400U : 0U) | (message.truncated ? 0x0200U : 0U) |
            (message.responseCode & 0xFU));
    out.u16(message.questions.size());
    out.u16(message.answers.size());
    out.u16(message.authorities.size());
    out.u16(message.additionals.size());
    for (const auto& question : message.questions) {
        out.compressedName(question.name);
        out.u16(question.type);
        out.u16(question.qclass | (question.unicastResponse ? kTopBit : 0U));
    }
    for (const auto* section : {&message.answers, &message.authorities, &message.additionals}) {
        for (const auto& record : *section) {
            out.record(record);
        }
    }
    return out.take();
}

Bytes dataBytes(const Record& record) {
    Writer out;
    out.data(record.data);
    return out.take();
}

bool sameRecord(const Record& a, const Record& b) {
    if (a.type != b.type || a.rclass != b.rclass || !sameName(a.name, b.name)) {
        return false;
    }
    // The target of a PTR is a name: case does not matter.
    const auto* aTarget = std::get_if<Name>(&a.data);
    const auto* bTarget = std::get_if<Name>(&b.data);
    if (aTarget != nullptr && bTarget != nullptr) {
        return sameName(*aTarget, *bTarget);
    }
    return dataBytes(a) == dataBytes(b);
}

}  // namespace mdns::dns

// Arbitrary bytes from a connection: the result must not depend on how they are split into reads.

#include <algorithm>
#include <cstdlib>
#include <vector>

#include "ndi/wire/messagereader.h"
#include "ndi/wire/textmessage.h"
#include "ndi/wire/videoinfo.h"

namespace {

using ndi::wire::Kind;
using ndi::wire::MessageReader;

/// A checksum of everything parsed from `bytes`, read in pieces of that size.
std::uint64_t readAll(const std::uint8_t* bytes, std::size_t size, std::size_t piece) {
    MessageReader reader(ndi::wire::Limits{});
    std::uint64_t sum = 0;
    for (std::size_t at = 0; at < size; at += piece) {
        reader.append(bytes + at, std::min(piece, size - at));
        ndi::wire::Message message;
        MessageReader::Result result = reader.next(message);
        for (; result == MessageReader::Result::Ready; result = reader.next(message)) {
            sum = sum * 31 + message.header.version + message.header.kind + 1;
            for (const auto& part : {message.info, message.data}) {
                for (std::size_t i = 0; i < part.size; ++i) {
                    sum = sum * 31 + part.data[i];
                }
            }
            if (message.readable && message.header.kind == static_cast<std::uint16_t>(Kind::Text)) {
                sum += ndi::wire::parseText(message.data).index();
            }
            if (message.readable && ndi::wire::parseVideoInfo(message.info)) {
                ++sum;
            }
        }
        if (result == MessageReader::Result::Garbage) {
            return sum + 7;
        }
        reader.trim(64);
    }
    return sum;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size > 1) {
        const std::size_t piece = 1U + data[0] % 64U;
        if (readAll(data + 1, size - 1, piece) != readAll(data + 1, size - 1, size)) {
            std::abort();
        }
    }
    return 0;
}

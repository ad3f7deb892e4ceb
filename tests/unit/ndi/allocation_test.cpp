// Counts what the sending thread allocates, so this is a program of its own.

#include <gtest/gtest.h>

#include <cstdlib>
#include <new>
#include <thread>

#include "unit/ndi/sourcefixture.h"

namespace {
thread_local long allocations = 0;
}

void* operator new(std::size_t size) {
    ++allocations;
    void* const memory = std::malloc(size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}

namespace ndi {
namespace {

using namespace std::chrono_literals;

/// Always the same packet.
class ConstantEncoder : public PictureEncoder {
public:
    ConstantEncoder() {
        auto picture = std::make_shared<EncodedPicture>();
        picture->width = picture->height = 64;
        picture->data = m_bytes.data();
        picture->size = m_bytes.size();
        m_picture = picture;
    }
    void keep(const PictureView& /*picture*/, const support::ChangedRows& /*changed*/) override {}
    EncodedStreams encode(const PictureView& /*picture*/, const support::ChangedRows& /*changed*/,
                          Streams wanted) override {
        return encodeKept(wanted);
    }
    EncodedStreams encodeKept(Streams wanted) override {
        return {wanted.full ? m_picture : nullptr, wanted.preview ? m_picture : nullptr};
    }

private:
    const std::vector<std::uint8_t> m_bytes = std::vector<std::uint8_t>(50'000, 7);
    EncodedPicturePtr m_picture;
};

TEST(Allocation, SendingAllocatesNothing) {
    SourceParts parts = testParts();
    parts.encoder = std::make_unique<ConstantEncoder>();
    const auto source = openSource(std::move(parts));
    TestReceiver full(source->port());
    TestReceiver low(source->port());
    full.sayHello();
    low.sayHello(true);
    full.readTexts(3, 2s);
    low.readTexts(3, 2s);
    std::this_thread::sleep_for(100ms);
    Picture picture(64, 64);
    auto frame = picture.frame();
    frame.p_metadata = "<a text='longer than any small string optimisation would hold'/>";
    const support::ChangedRows changed{true, {{0, 16}, {32, 16}}};
    long before = 0;
    for (int i = 0; i < 200; ++i) {
        before = i == 10 ? allocations : before;
        source->hint(changed);
        source->send(&frame);
        std::this_thread::sleep_for(1ms);
    }
    EXPECT_EQ(allocations - before, 0);
    EXPECT_TRUE(full.nextPicture(2s));
    EXPECT_TRUE(low.nextPicture(2s));
}

}  // namespace
}  // namespace ndi

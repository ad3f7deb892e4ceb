// Every kernel of this machine against the reference, bit for bit, over ordinary and extreme input.

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <vector>

#include "ndi/speedhq/kernels.h"
#include "ndi/speedhq/picturecoder.h"

namespace {

using namespace speedhq;

enum class Input { Random, Extreme, Flat, Ramp, Count };

class Kernel : public testing::TestWithParam<KernelLevel> {
protected:
    void SetUp() override {
        kernels = kernelsOf(GetParam());
        if (kernels == nullptr) {
            GTEST_SKIP() << "not on this processor";
        }
    }

    int uniform(int low, int high) { return std::uniform_int_distribution<int>(low, high)(random); }

    std::uint8_t byteOf(Input input, int place) {
        switch (input) {
            case Input::Random:
                return static_cast<std::uint8_t>(uniform(0, 255));
            case Input::Extreme:
                return static_cast<std::uint8_t>(255 * uniform(0, 1));
            case Input::Flat:
                return static_cast<std::uint8_t>(m_flat[place % 4]);
            default:
                return static_cast<std::uint8_t>(place);
        }
    }
    void newFlat() {
        for (int& byte : m_flat) {
            byte = uniform(0, 255);
        }
    }

    const Kernels* kernels = nullptr;
    const Kernels& reference = *kernelsOf(KernelLevel::Reference);
    std::mt19937 random{11};

private:
    int m_flat[4] = {};
};

/// A value between guards that a kernel has no business with.
template <typename Value>
struct Guarded {
    alignas(64) std::uint8_t before[64];
    Value value;
    alignas(64) std::uint8_t after[64];

    Guarded() { std::memset(static_cast<void*>(this), 0xA5, sizeof *this); }
    [[nodiscard]] bool intact() const {
        const Guarded fresh;
        return std::memcmp(before, fresh.before, sizeof before) == 0 &&
               std::memcmp(after, fresh.after, sizeof after) == 0;
    }
};

TEST_P(Kernel, Conversion) {
    for (int round = 0; round < 200; ++round) {
        newFlat();
        const auto input = static_cast<Input>(round % static_cast<int>(Input::Count));
        const int stride = 64 + uniform(0, 40);
        const int start = uniform(0, 7);
        std::vector<std::uint8_t> pixels(static_cast<std::size_t>(start + 15 * stride + 64));
        for (std::size_t i = 0; i < pixels.size(); ++i) {
            pixels[i] = byteOf(input, static_cast<int>(i) - start);
        }
        Guarded<MacroblockSamples> expected;
        Guarded<MacroblockSamples> actual;
        const ColourMatrix& matrix =
            round % 2 == 0 ? colourMatrixFor(640, 480) : colourMatrixFor(1920, 1080);
        reference.convertBgra(pixels.data() + start, stride, matrix, expected.value);
        kernels->convertBgra(pixels.data() + start, stride, matrix, actual.value);
        ASSERT_EQ(std::memcmp(&expected, &actual, sizeof expected), 0) << "BGRA, " << round;
        reference.convertUyvy(pixels.data() + start, stride, expected.value);
        kernels->convertUyvy(pixels.data() + start, stride, actual.value);
        ASSERT_EQ(std::memcmp(&expected, &actual, sizeof expected), 0) << "UYVY, " << round;
        ASSERT_TRUE(actual.intact());
    }
}

TEST_P(Kernel, TransformAndBits) {
    for (const int quality : {98, 96, 90, 80, 60, 38, 4}) {
        const Quantiser quantiser = makeQuantiser(quality);
        for (int round = 0; round < 200; ++round) {
            newFlat();
            const auto input = static_cast<Input>(round % static_cast<int>(Input::Count));
            MacroblockSamples samples;
            auto* const values = &samples.luma[0][0][0];
            for (int i = 0; i < 512; ++i) {
                values[i] = static_cast<std::int16_t>(byteOf(input, i / (round % 9 + 1)) - 128);
            }
            Guarded<MacroblockLevels> expected;
            Guarded<MacroblockLevels> actual;
            reference.transform(samples, quantiser, expected.value);
            kernels->transform(samples, quantiser, actual.value);
            const MacroblockLevels& a = expected.value;
            const MacroblockLevels& b = actual.value;
            ASSERT_EQ(std::memcmp(a.scanned, b.scanned, sizeof a.scanned), 0);
            ASSERT_EQ(std::memcmp(a.nonZero, b.nonZero, sizeof a.nonZero), 0);
            ASSERT_EQ(std::memcmp(a.dc, b.dc, sizeof a.dc), 0);
            ASSERT_EQ(a.wide, b.wide);
            for (unsigned block = 0; block < 8; ++block) {
                if ((a.wide >> block & 1U) != 0) {
                    ASSERT_EQ(std::memcmp(a.full[block], b.full[block], sizeof a.full[block]), 0);
                }
            }
            ASSERT_TRUE(actual.intact());

            std::vector<std::uint8_t> rooms[2];
            BitWriter writers[2] = {BitWriter(nullptr), BitWriter(nullptr)};
            DcPredictors predictors[2];
            const Kernels* const both[2] = {&reference, kernels};
            for (int i = 0; i < 2; ++i) {
                rooms[i].assign(kMaxMacroblockBytes + 1 + kBitSlack, 0);
                writers[i] = BitWriter(rooms[i].data());
                writers[i].pending = static_cast<std::uint64_t>(round % 2);
                writers[i].pendingCount = static_cast<unsigned>(round % 8);
                predictors[i].cb = static_cast<std::int16_t>(round * 10);
                both[i]->write(a, codeTables(), predictors[i], writers[i]);
            }
            ASSERT_EQ(writers[0].bitsSince(rooms[0].data()), writers[1].bitsSince(rooms[1].data()));
            ASSERT_TRUE(predictors[0] == predictors[1]);
            for (int i = 0; i < 2; ++i) {
                finishBits(writers[i]);
                rooms[i].resize(static_cast<std::size_t>(writers[i].next - rooms[i].data()));
            }
            ASSERT_EQ(rooms[0], rooms[1]);
        }
    }
}

TEST_P(Kernel, Comparison) {
    for (int round = 0; round < 300; ++round) {
        const int bytes = round % 2 == 0 ? 32 : 64;
        const int count = uniform(0, 9);
        std::vector<std::uint8_t> a(static_cast<std::size_t>(count * bytes));
        for (auto& byte : a) {
            byte = byteOf(Input::Random, 0);
        }
        std::vector<std::uint8_t> b = a;
        std::vector<std::uint8_t> expected(static_cast<std::size_t>(count));
        for (auto& flag : expected) {
            flag = static_cast<std::uint8_t>(uniform(0, 3) == 0);
        }
        std::vector<std::uint8_t> actual = expected;
        for (int i = uniform(0, 4); i > 0 && count > 0; --i) {
            b[static_cast<std::size_t>(uniform(0, count * bytes - 1))] ^=
                static_cast<std::uint8_t>(1 << uniform(0, 7));
        }
        const int marked = reference.markChanged(a.data(), b.data(), count, bytes, expected.data());
        ASSERT_EQ(kernels->markChanged(a.data(), b.data(), count, bytes, actual.data()), marked);
        ASSERT_EQ(actual, expected);
    }
}

/// The colour rule itself: within rounding of the real matrix, and greys without colour.
TEST(Colour, IsTheMatrixOfThePicturesSize) {
    struct Case {
        int width, height;
        double red, blue;
    };
    for (const Case& c : {Case{720, 576, 0.299, 0.114}, Case{721, 576, 0.2126, 0.0722},
                          Case{720, 577, 0.2126, 0.0722}, Case{3840, 2160, 0.2126, 0.0722}}) {
        MacroblockSamples samples;
        std::uint8_t pixels[16 * 64] = {};
        for (int colour = 0; colour < 17 * 17 * 17; ++colour) {
            const int rgb[3] = {colour / 289 * 255 / 16, colour / 17 % 17 * 255 / 16,
                                colour % 17 * 255 / 16};
            for (int channel = 0; channel < 3; ++channel) {
                pixels[2 - channel] = pixels[6 - channel] = static_cast<std::uint8_t>(rgb[channel]);
            }
            kReferenceKernels.convertBgra(pixels, 64, colourMatrixFor(c.width, c.height), samples);
            const double grey = c.red * rgb[0] + (1 - c.red - c.blue) * rgb[1] + c.blue * rgb[2];
            ASSERT_NEAR(samples.luma[0][0][0], 16 - 128 + 219 * grey / 255, 0.51);
            ASSERT_NEAR(samples.chroma[0][0][0], 224 * (rgb[2] - grey) / (2 * (1 - c.blue)) / 255,
                        0.52);
            ASSERT_NEAR(samples.chroma[0][1][0], 224 * (rgb[0] - grey) / (2 * (1 - c.red)) / 255,
                        0.52);
            if (rgb[0] == rgb[1] && rgb[1] == rgb[2]) {
                ASSERT_EQ(samples.chroma[0][0][0], 0);
                ASSERT_EQ(samples.chroma[0][1][0], 0);
            }
        }
    }
}

INSTANTIATE_TEST_SUITE_P(Levels, Kernel,
                         testing::Values(KernelLevel::Sse41, KernelLevel::Avx2,
                                         KernelLevel::Avx512),
                         [](const auto& level) {
                             return std::string(level.param == KernelLevel::Sse41  ? "Sse41"
                                                : level.param == KernelLevel::Avx2 ? "Avx2"
                                                                                   : "Avx512");
                         });

}  // namespace

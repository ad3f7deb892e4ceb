#include "unit/speedhq/testframes.h"

#include <algorithm>
#include <cmath>

namespace tests {

namespace {

int uniform(std::mt19937& random, int low, int high) {
    return std::uniform_int_distribution<int>(low, high)(random);
}

/// Sets the bytes of a rectangle; `byteAt(x, channel)` gives them.
template <typename ByteAt>
void fill(TestFrame& frame, int left, int top, int right, int bottom, ByteAt byteAt) {
    const int step = frame.format == speedhq::PixelFormat::Uyvy ? 2 : 1;
    for (int y = top; y < bottom; ++y) {
        for (int x = left / step * step; x < right; x += step) {
            std::uint8_t* const group = frame.at(x, y);
            for (int channel = 0; channel < 4; ++channel) {
                group[channel] = static_cast<std::uint8_t>(byteAt(x, channel));
            }
        }
    }
}

void fillRandomly(TestFrame& frame, int left, int top, int right, int bottom,
                  std::mt19937& random) {
    const int kind = uniform(random, 0, 3);
    const int colour[4] = {uniform(random, 0, 255), uniform(random, 0, 255),
                           uniform(random, 0, 255), uniform(random, 0, 255)};
    fill(frame, left, top, right, bottom, [&](int x, int channel) {
        switch (kind) {
            case 0:
                return colour[channel];  // flat
            case 1:
                return colour[channel] + x - left;  // ramp
            case 2:
                return (x / 3 + colour[3]) % 2 == 0 ? colour[channel] : 240;  // stripes, like text
            default:
                return colour[channel] / 2 + uniform(random, 0, 60);  // noise
        }
    });
}

}  // namespace

TestFrame::TestFrame(speedhq::PixelFormat pixelFormat, int frameWidth, int frameHeight, int gap)
    : format(pixelFormat),
      width(frameWidth),
      height(frameHeight),
      lineBytes(pixelFormat == speedhq::PixelFormat::Uyvy ? (frameWidth + 1) / 2 * 4
                                                          : frameWidth * 4),
      stride(lineBytes + gap),
      bytes(static_cast<std::size_t>(stride) * static_cast<std::size_t>(height), 128) {}

speedhq::FrameView TestFrame::view() const {
    return {format, width, height, stride, bytes.data(), 60, 1, colours};
}

std::uint8_t* TestFrame::at(int x, int y) {
    return bytes.data() + y * stride + (format == speedhq::PixelFormat::Uyvy ? x / 2 * 4 : x * 4);
}

void paint(TestFrame& frame, Content content, std::mt19937& random) {
    fill(frame, 0, 0, frame.width, frame.height, [&](int, int) {
        return content == Content::BlackWhite ? uniform(random, 0, 1) * 255
                                              : uniform(random, 0, 255);
    });
    for (int i = 0; content == Content::Mixed && i < 8; ++i) {
        const int left = i == 0 ? 0 : uniform(random, 0, frame.width - 1);
        const int top = i == 0 ? 0 : uniform(random, 0, frame.height - 1);
        fillRandomly(frame, left, top, frame.width, frame.height, random);
    }
}

support::DirtyRows damage(TestFrame& frame, std::mt19937& random) {
    std::vector<support::RowSpan> touched(static_cast<std::size_t>(frame.height));
    for (int i = uniform(random, 0, 3); i > 0; --i) {
        const int left = uniform(random, 0, frame.width - 1);
        const int top = uniform(random, 0, frame.height - 1);
        const bool large = uniform(random, 0, 1) == 1;
        const int right = std::min(frame.width, left + uniform(random, 1, large ? 60 : 2));
        const int bottom = std::min(frame.height, top + uniform(random, 1, large ? 40 : 2));
        fillRandomly(frame, left, top, right, bottom, random);
        for (int y = top; y < bottom; ++y) {
            support::RowSpan& row = touched[static_cast<std::size_t>(y)];
            row = row.count == 0 ? support::RowSpan{y, 1, left, right}
                                 : support::RowSpan{y, 1, std::min(row.left, left),
                                                    std::max(row.right, right)};
        }
    }
    support::DirtyRows dirty{uniform(random, 0, 3) != 0, {}};
    const bool columns = uniform(random, 0, 1) == 1;
    for (const support::RowSpan& row : touched) {
        if (dirty.known && row.count > 0) {
            dirty.spans.push_back(columns ? row : support::RowSpan{row.first, 1});
        }
    }
    return dirty;
}

Planes expectedPlanes(TestFrame& frame) {
    const int width = (frame.width + 15) / 16 * 16;
    Planes planes{width, frame.height, {}, {}, {}};
    const bool small = frame.width <= 720 && frame.height <= 576;
    constexpr std::pair<double, double> kRedBlue[] = {
        {0, 0}, {0.299, 0.114}, {0.2126, 0.0722}, {0.2627, 0.0593}};
    const int automatic = small ? 1 : 2;
    const int chosen = static_cast<int>(frame.colours);
    const auto [red, blue] = kRedBlue[chosen != 0 ? chosen : automatic];
    const auto put = [](std::vector<std::uint8_t>& plane, double value) {
        plane.push_back(static_cast<std::uint8_t>(std::floor(value + 0.5)));
    };
    for (int y = 0; y < frame.height; ++y) {
        for (int x = 0; x < width; x += 2) {
            const std::uint8_t* const p = frame.at(std::min(x, frame.width - 1), y);
            const std::uint8_t* const q = frame.at(std::min(x + 1, frame.width - 1), y);
            if (frame.format == speedhq::PixelFormat::Uyvy) {
                // Beyond the frame the last pixel is repeated. In a frame of odd width that is the
                // first of its group.
                const int lastLuma = frame.width % 2 == 1 ? 1 : 3;
                planes.cb.push_back(p[0]);
                planes.cr.push_back(p[2]);
                planes.y.push_back(p[x < frame.width ? 1 : lastLuma]);
                planes.y.push_back(p[x + 1 < frame.width ? 3 : lastLuma]);
                continue;
            }
            double sums[3] = {};
            for (const std::uint8_t* const pixel : {p, q}) {
                const double grey = red * pixel[2] + (1 - red - blue) * pixel[1] + blue * pixel[0];
                put(planes.y, 16 + 219 * grey / 255);
                sums[0] += grey / 2;
                sums[1] += pixel[0] / 2.0;
                sums[2] += pixel[2] / 2.0;
            }
            put(planes.cb, 128 + 224 * (sums[1] - sums[0]) / (2 * (1 - blue)) / 255);
            put(planes.cr, 128 + 224 * (sums[2] - sums[0]) / (2 * (1 - red)) / 255);
        }
    }
    return planes;
}

std::vector<std::uint8_t> bytesOf(const speedhq::EncodedFramePtr& packet) {
    return {packet->data, packet->data + packet->size};
}

}  // namespace tests

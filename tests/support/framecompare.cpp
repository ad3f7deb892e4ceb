#include "support/framecompare.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace tests {
namespace {

double luma(QRgb pixel) {
    return 0.2126 * qRed(pixel) + 0.7152 * qGreen(pixel) + 0.0722 * qBlue(pixel);
}

}  // namespace

double lumaPsnr(const QImage& a, const QImage& b) {
    if (a.size() != b.size() || a.isNull()) {
        return -1;
    }
    double squares = 0;
    for (int y = 0; y < a.height(); ++y) {
        for (int x = 0; x < a.width(); ++x) {
            const double difference = luma(a.pixel(x, y)) - luma(b.pixel(x, y));
            squares += difference * difference;
        }
    }
    const double mean = squares / (static_cast<double>(a.width()) * a.height());
    return mean > 0 ? std::min(100.0, 10 * std::log10(255.0 * 255.0 / mean)) : 100.0;
}

int largestDifference(const QImage& a, const QImage& b, const QRect& area) {
    int largest = 0;
    for (int y = area.top(); y <= area.bottom(); ++y) {
        for (int x = area.left(); x <= area.right(); ++x) {
            const QRgb p = a.pixel(x, y);
            const QRgb q = b.pixel(x, y);
            largest = std::max({largest, std::abs(qRed(p) - qRed(q)),
                                std::abs(qGreen(p) - qGreen(q)), std::abs(qBlue(p) - qBlue(q))});
        }
    }
    return largest;
}

QRect differingPart(const QImage& a, const QImage& b) {
    QRect part;
    for (int y = 0; y < a.height(); ++y) {
        for (int x = 0; x < a.width(); ++x) {
            part = a.pixel(x, y) != b.pixel(x, y) ? part | QRect(x, y, 1, 1) : part;
        }
    }
    return part;
}

}  // namespace tests

#include "speedhq/ratecontrol.h"

#include <algorithm>
#include <cmath>
#include <iterator>

namespace speedhq {

namespace {

/// A frame with at least this share of new macroblocks counts as new.
constexpr double kMostlyNew = 0.25;
/// Within this share of the budget the quality does not change.
constexpr double kTolerance = 0.12;
/// The largest credit, in budgets of one frame.
constexpr double kMostCredit = 16;

/// The quantiser's steps are proportional to 100 - quality, which is always even.
int stepOf(int quality) {
    return 100 - quality;
}
int evenAtLeast(double step) {
    return static_cast<int>(std::ceil(step / 2)) * 2;
}

struct RatePoint {
    double pixels;
    double bytes;  ///< At 60 fps.
};

/// The vendor's published rates plus 11.6 %. That puts 1920x1080 in the middle of the range
/// measured on its streams, 130 to 165 Mbit/s.
constexpr double kAbovePublished = 1.116;
constexpr RatePoint kPublished[] = {{640.0 * 360, 65.83e6 / 8 / 60},
                                    {1280.0 * 720, 105.83e6 / 8 / 60},
                                    {1920.0 * 1080, 132.14e6 / 8 / 60},
                                    {3840.0 * 2160, 249.99e6 / 8 / 60}};

double usableRate(double framesPerSecond) {
    return std::clamp(framesPerSecond, 10.0, 240.0);
}

}  // namespace

double mainStreamBudget(int width, int height, double framesPerSecond) {
    const double pixels = static_cast<double>(width) * height;
    const double forRate = kAbovePublished * std::sqrt(60 / usableRate(framesPerSecond));
    if (pixels <= kPublished[0].pixels) {
        return forRate * kPublished[0].bytes * pixels / kPublished[0].pixels;
    }
    const RatePoint* upper = &kPublished[1];
    while (upper + 1 != std::end(kPublished) && upper->pixels < pixels) {
        ++upper;
    }
    const RatePoint* const lower = upper - 1;
    const double exponent =
        std::log(upper->bytes / lower->bytes) / std::log(upper->pixels / lower->pixels);
    return forRate * lower->bytes * std::pow(pixels / lower->pixels, exponent);
}

double previewBudget(int width, int height, double framesPerSecond) {
    constexpr double kBitsPerPixelAndSecond = 18.75e6 / (640 * 360);
    return kBitsPerPixelAndSecond / 8 * width * height / usableRate(framesPerSecond);
}

void RateControl::sent(std::size_t bytes, double encoded) {
    const auto size = static_cast<double>(bytes);
    m_credit = std::clamp(m_credit + m_budget - size, -m_budget, kMostCredit * m_budget);
    m_refused = 100;
    m_sinceRaise = std::min(m_sinceRaise + 1, kLongestWait);

    learn(size);
    const double excess = size / m_budget;
    const bool mustAct = encoded >= kMostlyNew || m_credit < 0;
    if (m_quality > m_movingQuality) {
        if (mustAct) {
            m_quality = m_movingQuality;
            m_credit = std::max(m_credit, 0.0);
        }
        return;
    }
    if (excess < 1 - kTolerance) {
        considerRaising(excess);
        return;
    }
    m_below = 0;
    if (excess > 1 + kTolerance && mustAct) {
        lower(excess);
    }
}

/// Estimates m_exponent from the effect of the latest change of quality.
void RateControl::learn(double size) {
    if (m_sizeBefore > 0 && m_stepBefore != stepOf(m_quality)) {
        const double exponent = std::log(size / m_sizeBefore) /
                                std::log(static_cast<double>(m_stepBefore) / stepOf(m_quality));
        m_exponent = std::clamp(exponent, 0.3, 2.0);
    }
    m_sizeBefore = size;
    m_stepBefore = stepOf(m_quality);
}

/// The step at which a frame of `excess` budgets would meet the budget.
double RateControl::fittingStep(double excess) const {
    return stepOf(m_quality) * std::pow(excess, 1 / m_exponent);
}

void RateControl::repeated() {
    m_credit = std::min(m_credit + m_budget, kMostCredit * m_budget);
}

void RateControl::lower(double excess) {
    m_wait = m_sinceRaise < 2 * m_wait ? std::min(2 * m_wait, kLongestWait) : kShortestWait;
    const int step = stepOf(m_quality);
    const int wanted = std::clamp(evenAtLeast(fittingStep(excess)), step + 2, 2 * step);
    m_quality = std::max(100 - wanted, kWorstQuality);
    m_movingQuality = m_quality;
    m_credit = std::max(m_credit, 0.0);
}

void RateControl::considerRaising(double excess) {
    if (++m_below < m_wait) {
        return;
    }
    m_below = 0;
    const int step = stepOf(m_quality);
    const int wanted = std::max(evenAtLeast(std::max(fittingStep(excess), step / 2.0)), 2);
    if (wanted < step) {
        m_quality = 100 - wanted;
        m_movingQuality = m_quality;
        m_sinceRaise = 0;
    }
}

int RateControl::refinedQuality() const {
    const int step = std::max(evenAtLeast(stepOf(m_quality) / 4.0), 100 - kBestQuality);
    return 100 - step >= m_refused ? m_quality : 100 - step;
}

void RateControl::refined(int quality) {
    m_quality = std::max(m_quality, quality);
    m_credit = kMostCredit * m_budget;
}

bool RateControl::lowerToFit() {
    constexpr int kLastSteps[] = {62, 64, 72, 80, 88, 96};
    const int step = stepOf(m_quality);
    const int doubled = 2 * step;
    if (doubled < kLastSteps[0]) {
        m_quality = 100 - doubled;
    } else {
        const int* const next =
            std::upper_bound(std::begin(kLastSteps), std::end(kLastSteps), step);
        if (next == std::end(kLastSteps)) {
            return false;
        }
        m_quality = 100 - *next;
    }
    m_movingQuality = m_quality;
    return true;
}

}  // namespace speedhq

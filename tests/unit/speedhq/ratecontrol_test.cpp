// The quality over time, with a model of how packet sizes depend on the quality.

#include <gtest/gtest.h>

#include <cmath>

#include "speedhq/ratecontrol.h"

namespace {

using namespace speedhq;

constexpr double kBudget = 300e3;

/// The size of a frame at a quality: `at80` at quality 80, proportional to the step ^ -exponent.
std::size_t sizeOf(double at80, int quality, double exponent) {
    return static_cast<std::size_t>(at80 * std::pow((100 - quality) / 20.0, -exponent));
}

RateControl controlled() {
    RateControl control;
    control.setBudget(kBudget);
    return control;
}

TEST(RateControl, HoldsTheBudgetWithoutOscillating) {
    for (const double exponent : {0.35, 0.5, 0.7}) {
        for (const double at80 : {60e3, 150e3, 300e3, 500e3, 650e3}) {
            RateControl control = controlled();
            int changes = 0;
            double size = 0;
            for (int i = 0; i < 3000; ++i) {
                const int before = control.quality();
                size = static_cast<double>(sizeOf(at80, before, exponent));
                control.sent(static_cast<std::size_t>(size), 1);
                changes += i >= 1000 && control.quality() != before;
                EXPECT_TRUE(control.quality() % 2 == 0 && control.quality() >= kWorstQuality &&
                            control.quality() <= kBestQuality);
            }
            // Near the budget, unless the quality is at its limit.
            const bool atLimit =
                control.quality() == kBestQuality || control.quality() == kWorstQuality;
            EXPECT_LT(size, kBudget * (atLimit ? 2.0 : 1.13)) << at80 << " " << exponent;
            EXPECT_GT(size, kBudget * (control.quality() >= 96 ? 0.15 : 0.85)) << at80;
            EXPECT_LE(changes, 4) << at80 << " " << exponent;
        }
    }
}

TEST(RateControl, CaretKeepsTheRefinement) {
    RateControl control = controlled();
    control.refined(98);
    // Typing: 15 letters a second at 60 fps, each packet three times the budget.
    for (int i = 0; i < 600; ++i) {
        i % 4 == 0 ? control.sent(static_cast<std::size_t>(3 * kBudget), 0.001)
                   : control.repeated();
        ASSERT_EQ(control.quality(), 98) << i;
    }
    // A small animation in every frame exceeds the budget.
    int frames = 0;
    while (control.quality() == 98 && frames < 100) {
        control.sent(static_cast<std::size_t>(3 * kBudget), 0.05);
        ++frames;
    }
    EXPECT_LE(frames, 12);
    EXPECT_EQ(control.quality(), 80) << "back to the quality of moving frames";
    for (int i = 0; i < 100; ++i) {
        control.sent(static_cast<std::size_t>(kBudget), 0.05);
        ASSERT_EQ(control.quality(), 80);
    }
}

}  // namespace

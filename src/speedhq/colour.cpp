#include "speedhq/colour.h"

namespace speedhq {

namespace {

constexpr ColourMatrix kBt601 = {
    {3208, 16519, 8414}, {14392, -9535, -4857}, {-2340, -12052, 14392}};
constexpr ColourMatrix kBt709 = {
    {2032, 20127, 5983}, {14392, -11094, -3298}, {-1319, -13073, 14392}};

constexpr ColourMatrix kBt2020 = {
    {1669, 19080, 7393}, {14392, -10373, -4019}, {-1158, -13234, 14392}};

}  // namespace

ColourChoice colourChoiceFor(ColourChoice choice, int width, int height) {
    if (choice != ColourChoice::Automatic) {
        return choice;
    }
    return isStandardDefinition(width, height) ? ColourChoice::Bt601 : ColourChoice::Bt709;
}

const ColourMatrix& colourMatrixFor(ColourChoice choice, int width, int height) {
    switch (colourChoiceFor(choice, width, height)) {
        case ColourChoice::Bt601:
            return kBt601;
        case ColourChoice::Bt2020:
            return kBt2020;
        default:
            return kBt709;
    }
}

}  // namespace speedhq

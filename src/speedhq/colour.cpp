#include "speedhq/colour.h"

namespace speedhq {

namespace {

constexpr ColourMatrix kBt601 = {
    {3208, 16519, 8414}, {14392, -9535, -4857}, {-2340, -12052, 14392}};
constexpr ColourMatrix kBt709 = {
    {2032, 20127, 5983}, {14392, -11094, -3298}, {-1319, -13073, 14392}};

}  // namespace

const ColourMatrix& colourMatrixFor(int width, int height) {
    return width <= 720 && height <= 576 ? kBt601 : kBt709;
}

}  // namespace speedhq

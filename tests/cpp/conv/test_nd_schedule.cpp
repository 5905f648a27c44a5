// How the N-dimensional driver cuts a box: which dimensions are split, their grains, the loop order.
#include "conv/convn_driver.hpp"
#include "tests/cpp/support.hpp"

using namespace vfl_conv;

namespace {

struct Box {
    Sizes lo, hi, first, second;
    Strides out, firstStride, secondStride;
    NDSchedule schedule;

    Box(Sizes extent, Sizes firstSize, Sizes secondSize)
        : lo(extent.size(), 0), hi(extent), first(firstSize), second(secondSize), out(columnMajorStrides(extent, 1)),
          firstStride(columnMajorStrides(firstSize, 1)), secondStride(columnMajorStrides(secondSize, 1)),
          schedule(scheduleBox(lo, hi, first, second, out, firstStride, secondStride)) {}
};

}  // namespace

TEST(NDSchedule, SmallBoxesRunSerially) {
    const Box b({8, 7, 6}, {8, 7, 6}, {3, 3, 3});
    EXPECT_TRUE(b.schedule.parallelDims.empty());
    EXPECT_EQ(b.hi, (Sizes{8, 7, 6})) << "no reordering below 17";
}

TEST(NDSchedule, AtMostThreeDimensionsSplitAndTheSplitOneGoesInnermost) {
    // Dimension 1 holds the longest runs for its stride: it is split and walked innermost; of the
    // others, 3 (7 blocks of 8) and 0 (2 blocks) are split too, 2 (1 block) is not.
    const Box b({10, 3000, 5, 50}, {10, 3000, 5, 50}, {2, 2, 2, 2});
    EXPECT_EQ(b.hi, (Sizes{3000, 10, 50, 5})) << "split, then the other parallel ones, then the rest";
    EXPECT_EQ(b.schedule.parallelDims, (std::vector<size_t>{2, 0, 1})) << "positions in the new order";
    EXPECT_EQ(b.schedule.grains, (std::vector<uint64_t>{8, 1024, 8})) << "the split dimension's outputs are strided";
    EXPECT_EQ(b.out, (Strides{10, 1, 150000, 30000})) << "strides move with their dimensions";
}

TEST(NDSchedule, ASingleSplitWithFewGrainsGetsHalfGrains) {
    const Box b({5000, 3, 2}, {5000, 3, 2}, {1, 1, 1});
    ASSERT_EQ(b.schedule.parallelDims, (std::vector<size_t>{0}));
    EXPECT_EQ(b.schedule.grains, (std::vector<uint64_t>{2048})) << "5000 / 4096 + 1 is below 4";
}

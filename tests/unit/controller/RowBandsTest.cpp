#include "engine/capture/RowBands.h"

#include <gtest/gtest.h>

using Band = RowBands::Band;

TEST(RowBands, MergesWhatTouchesClipsToTheFrameAndJoinsTheSmallestGapsToALimit) {
    RowBands rows;
    rows.add(10, 20, 100);
    rows.add(40, 50, 100);
    rows.add(20, 25, 100);  // touches the first
    rows.add(-5, 3, 100);   // clipped at the top
    rows.add(95, 120, 100); // clipped at the bottom
    rows.add(60, 60, 100);  // empty
    EXPECT_EQ(rows.bands(), (std::vector<Band>{{0, 3}, {10, 25}, {40, 50}, {95, 100}}));
    rows.add(2, 45, 100); // swallows three
    EXPECT_EQ(rows.bands(), (std::vector<Band>{{0, 50}, {95, 100}}));
    EXPECT_EQ(rows.rowCount(), 55);

    RowBands other;
    other.add(60, 70, 100);
    rows.add(other, 100);
    EXPECT_EQ(rows.bands().size(), 3u);
    rows.addAll(100);
    EXPECT_EQ(rows.bands(), (std::vector<Band>{{0, 100}}));

    // A limit joins the bands with the smallest gaps.
    RowBands limited;
    for (int first : {0, 10, 13, 50, 90})
        limited.add(first, first + 2, 100);
    limited.limitTo(3);
    // Gaps were 8, 1, 35, 38: the two smallest go.
    EXPECT_EQ(limited.bands(), (std::vector<Band>{{0, 15}, {50, 52}, {90, 92}}));
    limited.limitTo(1);
    EXPECT_EQ(limited.bands(), (std::vector<Band>{{0, 92}}));
}

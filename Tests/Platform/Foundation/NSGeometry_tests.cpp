#include "Foundation/NSGeometry.h"

#include <cmath>
#include <gtest/gtest.h>

namespace platform {

static void PrintTo(const NSRect& rect, std::ostream* out) {
    *out << "(" << rect.origin.x << ", " << rect.origin.y << ", " << rect.size.width << ", " << rect.size.height << ")";
}

namespace {

struct InsetCase {
    NSRect rect;
    double dx;
    double dy;
    NSRect expected;
};

TEST(NSGeometry, InsetsWithoutLimits) {
    const InsetCase rows[] = {{{{10, 20}, {300, 150}}, 100, 50, {{110, 70}, {100, 50}}},
                              {{{0, 0}, {4, 4}}, 0.5, 0.5, {{0.5, 0.5}, {3, 3}}},
                              {{{0, 0}, {10, 10}}, -5, -2.5, {{-5, -2.5}, {20, 15}}},
                              {{{0, 0}, {10, 10}}, 6, 0, {{6, 0}, {-2, 10}}}};
    for (const InsetCase& row : rows)
        EXPECT_EQ(NSInsetRect(row.rect, row.dx, row.dy), row.expected);
}

struct DivideCase {
    double amount;
    NSRectEdge edge;
    NSRect slice;
    NSRect remainder;
};

TEST(NSGeometry, DividesAtEachEdge) {
    const NSRect rect{{10, 20}, {30, 40}};
    const DivideCase rows[] = {
        {5, NSMinXEdge, {{10, 20}, {5, 40}}, {{15, 20}, {25, 40}}},
        {5, NSMaxXEdge, {{35, 20}, {5, 40}}, {{10, 20}, {25, 40}}},
        {5, NSMinYEdge, {{10, 20}, {30, 5}}, {{10, 25}, {30, 35}}},
        {5, NSMaxYEdge, {{10, 55}, {30, 5}}, {{10, 20}, {30, 35}}},
        {2.25, NSMinXEdge, {{10, 20}, {2.25, 40}}, {{12.25, 20}, {27.75, 40}}},
        {0, NSMinXEdge, {{10, 20}, {0, 40}}, {{10, 20}, {30, 40}}},
        {30, NSMinXEdge, {{10, 20}, {30, 40}}, {{40, 20}, {0, 40}}},
        {31, NSMinXEdge, {{10, 20}, {30, 40}}, {{40, 20}, {0, 40}}}, // never more than there is
        {31, NSMaxXEdge, {{10, 20}, {30, 40}}, {{10, 20}, {0, 40}}},
        {99, NSMinYEdge, {{10, 20}, {30, 40}}, {{10, 60}, {30, 0}}},
        {99, NSMaxYEdge, {{10, 20}, {30, 40}}, {{10, 20}, {30, 0}}},
        {-5, NSMinXEdge, {{10, 20}, {-5, 40}}, {{5, 20}, {35, 40}}}, // the remainder grows
        {-5, NSMaxXEdge, {{45, 20}, {-5, 40}}, {{10, 20}, {35, 40}}},
    };
    EXPECT_EQ(static_cast<unsigned>(NSMinXEdge), 0u);
    EXPECT_EQ(static_cast<unsigned>(NSMaxXEdge), 2u);
    for (const DivideCase& row : rows) {
        NSRect slice;
        NSRect remainder;
        NSDivideRect(rect, &slice, &remainder, row.amount, row.edge);
        EXPECT_EQ(slice, row.slice) << row.amount << " at " << row.edge;
        EXPECT_EQ(remainder, row.remainder) << row.amount << " at " << row.edge;
    }
}

TEST(NSGeometry, DividesIntoItself) {
    NSRect rest{{0, 0}, {10, 10}};
    NSRect slice;
    NSDivideRect(rest, &slice, &rest, 4, NSMaxXEdge);
    EXPECT_EQ(slice, (NSRect{{6, 0}, {4, 10}}));
    EXPECT_EQ(rest, (NSRect{{0, 0}, {6, 10}}));
}

TEST(NSGeometry, KnowsEmptyRectangles) {
    EXPECT_FALSE(NSIsEmptyRect({{0, 0}, {1e-9, 1}}));
    for (const NSRect& rect :
         {NSRect{}, NSRect{{0, 0}, {0, 1}}, NSRect{{0, 0}, {1, -1}}, NSRect{{0, 0}, {std::nan(""), 1}}})
        EXPECT_TRUE(NSIsEmptyRect(rect));
    EXPECT_TRUE(NSEqualSizes({1, 2}, {1, 2}));
    EXPECT_FALSE(NSEqualSizes({1, 2}, {1, 2.0000001}));
}

} // namespace
} // namespace platform

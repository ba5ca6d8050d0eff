#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "tools/statistics.h"

static MOMENTS Sample(const std::vector<double> &values)
{
    MOMENTS moments{};
    for (double value : values) {
        AddValue(moments, value);
    }
    return moments;
}

// Values from printed tables of Student's t, of 2, 3, 10 and 20 values.
TEST(Statistics, IntervalsAreThoseOfStudentsTables)
{
    const struct {
        int n;
        double t;
    } table[] = {{2, 12.706}, {3, 4.303}, {10, 2.262}, {20, 2.093}};
    for (const auto &[n, t] : table) {
        EXPECT_NEAR(StudentQuantile95(n - 1), t, 0.0005) << n;
        EXPECT_NEAR(StudentAbove(t, n - 1), 0.025, 0.00002) << n;
        std::vector<double> values; // 0, 1, ..., n - 1 have variance n (n + 1) / 12
        values.reserve(static_cast<size_t>(n));
        for (int i = 0; i < n; ++i) {
            values.push_back(i);
        }
        EXPECT_NEAR(HalfWidth95(Sample(values)), t * std::sqrt((n + 1) / 12.0), 0.0005) << n;
    }
    EXPECT_TRUE(std::isnan(HalfWidth95(Sample({5.0}))));
    EXPECT_EQ(HalfWidth95(Sample({5.0, NAN, 5.0, INFINITY})), 0.0);
}

// Reference values not from tables were integrated with 20 digits.
TEST(Statistics, DifferencesOfMeans)
{
    // Mean 3, variance 8/3; t = 3 / sqrt(8/3 / 4) = 3.674 with 3 degrees of freedom.
    const DIFFERENCE paired = PairedDifference(Sample({1, 3, 3, 5}));
    EXPECT_DOUBLE_EQ(paired.mean, 3.0);
    EXPECT_NEAR(paired.half_width, 3.1824 * std::sqrt(8.0 / 3 / 4), 0.0001);
    EXPECT_NEAR(paired.p, 0.0349, 0.0001);

    // Means 2 and 5, variances 1 and 20/3: variance of the difference 1/3 + 5/3 = 2, freedom
    // 4 / ((1/9) / 2 + (25/9) / 3) = 4.0755.
    const DIFFERENCE welch = WelchDifference(Sample({1, 2, 3}), Sample({2, 4, 6, 8}));
    EXPECT_DOUBLE_EQ(welch.mean, 3.0);
    EXPECT_NEAR(welch.half_width, 3.897975, 1e-6);
    EXPECT_NEAR(welch.p, 0.09991286, 1e-8);
    // The variance may be in one sample alone, and below what a double squared can hold.
    EXPECT_NEAR(WelchDifference(Sample({1, 2, 3}), Sample({5, 5})).half_width,
                4.302653 / std::sqrt(3.0), 1e-6);
    EXPECT_NEAR(WelchDifference(Sample({1e-120, 2e-120, 3e-120}), Sample({2e-120, 2e-120})).p, 1.0,
                1e-9);

    // One value: the variance of the others is taken for it, 1 + 1/3 times 1.
    for (double sign : {1.0, -1.0}) {
        const MOMENTS many = Sample({1, 2, 3});
        const MOMENTS one = Sample({4});
        const DIFFERENCE single =
            sign > 0 ? WelchDifference(many, one) : WelchDifference(one, many);
        EXPECT_DOUBLE_EQ(single.mean, sign * 2.0);
        EXPECT_NEAR(single.half_width, 4.302653 * std::sqrt(4.0 / 3), 1e-5);
    }
    EXPECT_TRUE(std::isnan(WelchDifference(Sample({1}), Sample({2})).p));
    EXPECT_TRUE(std::isnan(WelchDifference(Sample({}), Sample({1, 2})).mean));
    EXPECT_TRUE(std::isnan(PairedDifference(Sample({1})).p));
}

TEST(Statistics, DifferencesWithoutVariance)
{
    EXPECT_EQ(PairedDifference(Sample({0, 0, 0})).p, 1.0);
    EXPECT_EQ(PairedDifference(Sample({0.3 - 0.2, 0.2 - 0.1})).p, 0.5); // 0.1 but for rounding
    EXPECT_EQ(PairedDifference(Sample({2, 2, 2})).p,
              0.25); // all of 2^3 signs equal, one way or other
    EXPECT_EQ(WelchDifference(Sample({1, 1}), Sample({1, 1})).p, 1.0);
    EXPECT_DOUBLE_EQ(WelchDifference(Sample({1, 1}), Sample({3, 3})).p, 2.0 / 6); // 2 of 4 values
    EXPECT_EQ(WelchDifference(Sample({1, 1}), Sample({3, 3})).half_width, 0.0);
    EXPECT_NEAR(ApartByChance(10, 10), 2.0 / 184756, 1e-12);
    EXPECT_EQ(ApartByChance(1, 1), 1.0);
}

TEST(Statistics, HolmsAdjustment)
{
    // Sorted: 4 x 0.005, 3 x 0.01, 2 x 0.03, 1 x 0.04; the last must not be below the third.
    const std::vector<double> adjusted = HolmAdjusted({0.01, NAN, 0.04, 0.03, 0.005});
    EXPECT_DOUBLE_EQ(adjusted[0], 0.03);
    EXPECT_TRUE(std::isnan(adjusted[1]));
    EXPECT_DOUBLE_EQ(adjusted[2], 0.06);
    EXPECT_DOUBLE_EQ(adjusted[3], 0.06);
    EXPECT_DOUBLE_EQ(adjusted[4], 0.02);
    EXPECT_EQ(HolmAdjusted({0.9, 0.8}), std::vector<double>({1.0, 1.0}));
}

// The closed sum of equal terms against plain additions.
#include "fastforward/repeated_sum.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <random>

TEST(RepeatedSumTest, EqualsPlainAdditions)
{
    const auto check = [](double sum, double term, uint64_t count) {
        double plain = sum;
        for (uint64_t i = 0; i < count; ++i) {
            plain += term;
        }
        return RepeatedSum(sum, term, count) == plain;
    };
    std::mt19937_64 rng(3);
    constexpr uint64_t BINADE = uint64_t{1} << 52; // values of one binade
    for (int i = 0; i < 2'000'000; ++i) {
        // Any place of a binade, its two ends more often; terms in eighths of the spacing there, so
        // that ties, additions without effect and jumps over the end are all common.
        const uint64_t near = rng() >> (12 + rng() % 52);
        const uint64_t fraction = rng() % 2 == 0 ? near : BINADE - 1 - near;
        const int spacing = rng() % 8 == 0 ? -1074 : static_cast<int>(rng() % 100) - 60;
        const double sum = std::ldexp(static_cast<double>(BINADE + fraction), spacing);
        const uint64_t eighths = rng() >> (8 + rng() % 56);
        const double term = std::ldexp(static_cast<double>(eighths), spacing - 3);
        const uint64_t count = rng() % 24;
        if (!check(sum, term, count)) {
            FAIL() << sum << " " << term << " " << count;
        }
    }
    for (const double term : {1 / 3e7, 7 / 3e7, 99999 / 3e7, 0.1, 5e-324, 0.0}) {
        EXPECT_TRUE(check(0.0, term, 3'000'000)) << term;
        EXPECT_TRUE(check(1.0, term, 3'000'000)) << term;
    }
}

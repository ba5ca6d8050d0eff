#include "fastforward/repeated_sum.h"

#include <cassert>
#include <cstring>

constexpr int FRACTION_BITS = 52;

// Younger libraries have std::bit_cast for these two.
static uint64_t BitsOf(double value)
{
    uint64_t bits;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

static double DoubleOf(uint64_t bits)
{
    double value;
    std::memcpy(&value, &bits, sizeof value);
    return value;
}

// The double's exponent field; equal for all values of one binade (of all subnormals, too).
static uint64_t Binade(double value)
{
    return BitsOf(value) >> FRACTION_BITS;
}

double RepeatedSum(double sum, double term, uint64_t count)
{
    assert(sum >= 0.0 && term >= 0.0);
    while (count >= 2) {
        const double first = sum + term;
        if (first == sum) {
            return sum; // the term has become too small to move the sum
        }
        const bool settled = Binade(first) == Binade(sum); // `first` has broken its tie here
        sum = first;
        --count;
        const double second = first + term;
        if (!settled || Binade(second) != Binade(first)) {
            continue;
        }
        // The products are exact: multiples of the spacing that do not reach the binade's end, or
        // beyond it, where only the fact counts.
        const double step = second - first;
        if (step == 0.0) {
            return sum;
        }
        const double last = first + static_cast<double>(count) * step;
        if (Binade(last) == Binade(first)) {
            return last;
        }
        const double end = DoubleOf((Binade(first) + 1) << FRACTION_BITS);
        const auto inside = static_cast<uint64_t>((end - first) / step);
        if (inside > 1) {
            sum = first + static_cast<double>(inside - 1) * step;
            count -= inside - 1;
        }
    }
    return count == 1 ? sum + term : sum;
}

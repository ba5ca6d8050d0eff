#include "tools/statistics.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include <boost/math/distributions/students_t.hpp>

using boost::math::complement;
using boost::math::students_t;

constexpr double OUTSIDE_95 = 0.05; // of both tails together

void AddValue(MOMENTS &moments, double value)
{
    if (!std::isfinite(value)) {
        return;
    }
    ++moments.n;
    const double step = value - moments.mean;
    moments.mean += step / moments.n;
    moments.squares += step * (value - moments.mean);
}

double Deviation(const MOMENTS &moments)
{
    return moments.n > 1 ? std::sqrt(moments.squares / (moments.n - 1)) : NAN;
}

static double Quantile95(double freedom)
{
    return boost::math::quantile(complement(students_t(freedom), OUTSIDE_95 / 2));
}

double StudentQuantile95(int freedom)
{
    return Quantile95(freedom);
}

double HalfWidth95(const MOMENTS &moments)
{
    return moments.n > 1 ? Quantile95(moments.n - 1) * Deviation(moments) / std::sqrt(moments.n)
                         : NAN;
}

double StudentAbove(double t, double freedom)
{
    return boost::math::cdf(complement(students_t(freedom), t));
}

double ApartByChance(int a, int b)
{
    double ways = 1.0; // binomial coefficient: to choose the values of `a` among all
    for (int i = 1; i <= a; ++i) {
        ways *= static_cast<double>(b + i) / i;
    }
    return 2.0 / ways;
}

double OneSidedByChance(int n)
{
    return std::exp2(1 - n);
}

// The test of a difference with a standard error; `by_chance` is its p if there is no error.
static DIFFERENCE Test(double mean, double error, double freedom, double by_chance)
{
    constexpr double ROUNDING = 1e-9; // differences of like decimals are not quite the same
    if (error <= ROUNDING * std::fabs(mean)) {
        return {mean, 0.0, mean == 0.0 ? 1.0 : by_chance};
    }
    return {mean, Quantile95(freedom) * error, 2 * StudentAbove(std::fabs(mean) / error, freedom)};
}

DIFFERENCE PairedDifference(const MOMENTS &differences)
{
    const int n = differences.n;
    if (n < 2) {
        return {n == 1 ? differences.mean : NAN, NAN, NAN};
    }
    return Test(differences.mean, Deviation(differences) / std::sqrt(n), n - 1,
                OneSidedByChance(n));
}

static double Square(double value)
{
    return value * value;
}

DIFFERENCE WelchDifference(const MOMENTS &a, const MOMENTS &b)
{
    const double mean = a.n > 0 && b.n > 0 ? b.mean - a.mean : NAN;
    if (std::isnan(mean) || a.n + b.n < 3) {
        return {mean, NAN, NAN};
    }
    const double by_chance = ApartByChance(a.n, b.n);
    if (a.n == 1 || b.n == 1) {
        const double both = (a.squares + b.squares) / (a.n + b.n - 2);
        const double error = std::sqrt(both) * std::sqrt(1.0 / a.n + 1.0 / b.n);
        return Test(mean, error, a.n + b.n - 2, by_chance);
    }
    const double a_variance = a.squares / (a.n - 1) / a.n; // of the mean
    const double b_variance = b.squares / (b.n - 1) / b.n;
    const double both = a_variance + b_variance;
    // Of shares, as the squares of the variances may be too small for a double.
    const double freedom =
        1.0 / (Square(a_variance / both) / (a.n - 1) + Square(b_variance / both) / (b.n - 1));
    return Test(mean, std::sqrt(both), freedom, by_chance);
}

std::vector<double> HolmAdjusted(const std::vector<double> &p)
{
    std::vector<size_t> order;
    for (size_t i = 0; i < p.size(); ++i) {
        if (!std::isnan(p[i])) {
            order.push_back(i);
        }
    }
    std::sort(order.begin(), order.end(), [&p](size_t i, size_t j) { return p[i] < p[j]; });
    std::vector<double> adjusted(p.size(), NAN);
    double largest = 0.0; // an adjusted probability is never below that of a smaller one
    for (size_t rank = 0; rank < order.size(); ++rank) {
        const double scaled = p[order[rank]] * static_cast<double>(order.size() - rank);
        largest = std::max(largest, std::min(scaled, 1.0));
        adjusted[order[rank]] = largest;
    }
    return adjusted;
}

// Statistics of independent samples: moments, Student's t, and tests of many differences at once.
#pragma once

#include <vector>

// Running number, mean and sum of squared deviations of a sample; all zero at first.
struct MOMENTS {
    int n;
    double mean;
    double squares;
};

// A difference of two means: estimate, half-width of its 95 % confidence interval, and two-sided
// probability of one as large if the true means are equal.
struct DIFFERENCE {
    double mean;
    double half_width;
    double p;
};

// Adds a value; inf and nan do not count.
void AddValue(MOMENTS &moments, double value);

// Standard deviation of one value; nan for fewer than two.
double Deviation(const MOMENTS &moments);

// Two-sided 95 % quantile of Student's t distribution; `freedom` is at least 1.
double StudentQuantile95(int freedom);

// Half-width of the 95 % confidence interval of the mean; nan for fewer than two values.
double HalfWidth95(const MOMENTS &moments);

// Probability that a t variate is above `t`; `freedom` is above 0 and need not be whole.
double StudentAbove(double t, double freedom);

// Probability that samples of `a` and `b` values, mixed by chance, come out wholly apart, or for
// pairs, that `n` of them all lie on one side.
double ApartByChance(int a, int b);
double OneSidedByChance(int n);

// Mean of the differences of pairs, with Student's t. Half-width and p are nan for fewer than two
// pairs. Without any variance the half-width is 0 and p that of a permutation test, which a few
// replications of a count that is nearly always the same cannot make small.
DIFFERENCE PairedDifference(const MOMENTS &differences);

// Mean of `b` less mean of `a`, of independent samples whose variances need not be equal, by
// Welch's test. A sample of one value is taken to have the variance of the other; if that has one
// value too, half-width and p are nan. All is nan if a sample is empty. Without any variance as
// above.
DIFFERENCE WelchDifference(const MOMENTS &a, const MOMENTS &b);

// Adjusts the probabilities of many tests by Holm's step-down method: what stays below alpha is
// significant, and the probability that any such is so by chance is at most alpha, however the
// tests depend on each other. Entries that are nan are no tests and stay.
std::vector<double> HolmAdjusted(const std::vector<double> &p);

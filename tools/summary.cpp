#include "tools/summary.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <numbers>

#include "tools/quantities.h"

// Probability that a t variate lies within -t and t, by the finite series for whole degrees of
// freedom.
static double ProbabilityWithin(double t, int freedom)
{
    const double angle = std::atan(t / std::sqrt(freedom));
    const double cosine = std::cos(angle);
    const bool is_odd = freedom % 2 == 1;
    double term = is_odd ? cosine : 1.0;
    double sum = 0.0;
    for (int k = is_odd ? 1 : 0; k <= freedom - 2; k += 2) {
        sum += term;
        term *= cosine * cosine * (k + 1) / (k + 2);
    }
    return is_odd ? 2.0 / std::numbers::pi * (angle + std::sin(angle) * sum)
                  : std::sin(angle) * sum;
}

double StudentQuantile95(int freedom)
{
    constexpr double CONFIDENCE = 0.95;
    constexpr int BISECTIONS = 60;
    double low = 0.0;
    double high = 16.0; // above the quantile of one degree of freedom, the largest
    for (int i = 0; i < BISECTIONS; ++i) {
        const double middle = (low + high) / 2;
        (ProbabilityWithin(middle, freedom) < CONFIDENCE ? low : high) = middle;
    }
    return low;
}

// Running mean and sum of squared deviations.
struct MOMENTS {
    int n;
    double mean;
    double squares;
};

static void Add(MOMENTS &moments, double value)
{
    if (!std::isfinite(value)) {
        return;
    }
    ++moments.n;
    const double step = value - moments.mean;
    moments.mean += step / moments.n;
    moments.squares += step * (value - moments.mean);
}

static bool WriteRows(FILE *file, const std::vector<MOMENTS> &moments)
{
    std::fprintf(file, "file,load_mbps,kind,thing,metric,unit,n,mean,sd,half_width_95\n");
    std::vector<double> factor; // quantile / sqrt(n) by n
    for (size_t i = 0; i < moments.size(); ++i) {
        const QUANTITY &what = Quantities()[i];
        const MOMENTS &of = moments[i];
        const double deviation = of.n > 1 ? std::sqrt(of.squares / (of.n - 1)) : NAN;
        while (factor.size() <= static_cast<size_t>(of.n)) {
            const int n = static_cast<int>(factor.size());
            factor.push_back(n > 1 ? StudentQuantile95(n - 1) / std::sqrt(n) : NAN);
        }
        std::fprintf(file, "%s,%d,%s,%s,%s,%s,%d", what.file.c_str(), what.load, what.kind.c_str(),
                     what.thing.c_str(), what.metric.c_str(), what.unit.c_str(), of.n);
        for (double value :
             {of.n > 0 ? of.mean : NAN, deviation, deviation * factor[static_cast<size_t>(of.n)]}) {
            if (std::isfinite(value)) {
                std::fprintf(file, ",%.10g", value);
            } else {
                std::fprintf(file, ",nan");
            }
        }
        std::fputc('\n', file);
    }
    return std::ferror(file) == 0;
}

std::string WriteSummary(const std::vector<std::string> &dirs, const std::string &path)
{
    std::vector<MOMENTS> moments(Quantities().size());
    std::vector<double> values;
    for (const std::string &dir : dirs) {
        std::string error = ReadQuantities(dir, values);
        if (!error.empty()) {
            return error;
        }
        for (size_t i = 0; i < values.size(); ++i) {
            Add(moments[i], values[i]);
        }
    }
    const std::string partial = path + ".partial";
    FILE *file = std::fopen(partial.c_str(), "w");
    const bool is_written = file != nullptr && WriteRows(file, moments);
    if (file == nullptr || std::fclose(file) != 0 || !is_written ||
        std::rename(partial.c_str(), path.c_str()) != 0) {
        std::string error = path + ": cannot be written: " + std::strerror(errno);
        std::remove(partial.c_str());
        return error;
    }
    return "";
}

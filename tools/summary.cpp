#include "tools/summary.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "tools/quantities.h"
#include "tools/statistics.h"

static bool WriteRows(FILE *file, const std::vector<MOMENTS> &moments)
{
    std::fprintf(file, "file,load_mbps,kind,thing,metric,unit,n,mean,sd,half_width_95\n");
    for (size_t i = 0; i < moments.size(); ++i) {
        const QUANTITY &what = Quantities()[i];
        const MOMENTS &of = moments[i];
        std::fprintf(file, "%s,%d,%s,%s,%s,%s,%d", what.file.c_str(), what.load, what.kind.c_str(),
                     what.thing.c_str(), what.metric.c_str(), what.unit.c_str(), of.n);
        for (double value : {of.n > 0 ? of.mean : NAN, Deviation(of), HalfWidth95(of)}) {
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
            AddValue(moments[i], values[i]);
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

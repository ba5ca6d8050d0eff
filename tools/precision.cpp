#include "tools/precision.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <limits>

std::string ReadPrecision(const std::string &path, PRECISION &worst)
{
    constexpr char ROW[] = "%*[^,],%lf,network,,total_throughput,%*[^,],%*d,%lf,%*[^,],%lf";
    constexpr double PERCENT = 100.0;
    std::ifstream file(path);
    bool is_found = false;
    worst = {};
    for (std::string line; std::getline(file, line);) {
        double load = 0.0;
        double mean = NAN;
        double half = NAN;
        if (std::sscanf(line.c_str(), ROW, &load, &mean, &half) != 3 || load == 0) {
            continue;
        }
        const double percent = PERCENT * half / mean;
        is_found = true;
        if (!(percent <= worst.percent)) {
            worst = {load, std::isnan(percent) ? std::numeric_limits<double>::infinity() : percent};
        }
    }
    if (!file.eof()) {
        return path + ": cannot be read: " + std::strerror(errno);
    }
    return is_found ? "" : path + ": has no rows of total_throughput; summarise the campaign anew";
}

// The page that shows all figures: one file, with the pictures, their numbers and what shows these
// under the pointer inside.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "tools/figure_data.h"
#include "tools/figure_list.h"
#include "tools/figure_source.h"

// A figure with its picture, the text of an SVG file, and the panels left out of it for want of
// values.
struct SHOWN {
    FIGURE figure;
    std::string svg;
    std::vector<std::string> left_out;
};

void WritePage(std::ostream &page, const DATA &data, const SOURCE &source,
               const std::vector<SHOWN> &shown);

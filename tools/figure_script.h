// A figure as commands and data for gnuplot.
#pragma once

#include <ostream>

#include "tools/figure_data.h"
#include "tools/figure_list.h"

// Writes what draws the figure twice, as PNG and as SVG.
void WriteFigure(std::ostream &script, const DATA &data, const FIGURE &figure);

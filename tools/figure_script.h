// A figure as commands and data for gnuplot.
//
//     |  title of the figure                              |
//     |  [panel][panel][panel]  key                       |
//     |  [panel][panel]                                   |
//
// Where everything stands is set here and not left to gnuplot, as the page has to know it too.
#pragma once

#include <ostream>

#include "tools/figure_data.h"
#include "tools/figure_list.h"

// A rectangle in pixels from the upper left corner.
struct BOX {
    double left;
    double right;
    double top;
    double bottom;
};

// Where the x axes end, in Mbit/s; they begin at 0.
double LoadTop(const DATA &data);

// Size of the figure; `left` and `top` are 0.
BOX FigureBox(const FIGURE &figure);

// What the axes of a panel enclose.
BOX PanelBox(const FIGURE &figure, size_t number);

// Writes what draws the figure as SVG, PNG and PDF.
void WriteFigure(std::ostream &script, const DATA &data, const FIGURE &figure);

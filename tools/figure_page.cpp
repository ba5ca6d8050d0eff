#include "tools/figure_page.h"

#include <cctype>
#include <cmath>
#include <cstdio>
#include <set>

#include <nlohmann/json.hpp>

#include "output/version.h"
#include "tools/figure_script.h"
#include "tools/open_tree.h"

using nlohmann::json;

static const char HEAD[] = R"(<!DOCTYPE html>
<html lang="en">
<meta charset="utf-8">
<meta name="viewport" content="width=device-width">
<title>dcfsim: figures</title>
<style>
body { font: 16px/1.5 sans-serif; max-width: 90em; margin: 2em auto; padding: 0 1em; }
figure { margin: 0 0 3em; }
figcaption, .note { max-width: 50em; }
th { text-align: left; font-weight: normal; color: #555; padding-right: 1.5em; vertical-align: top; }
.quick { background: #d00000; color: #fff; font-weight: bold; padding: .5em 1em; }
.chart { position: relative; width: fit-content; max-width: 100%; }
.chart img { display: block; max-width: 100%; height: auto; }
.line { position: absolute; width: 1px; background: #000; pointer-events: none; }
.tip { position: absolute; pointer-events: none; background: #fff; border: 1px solid #555;
  padding: .3em .6em; font-size: 13px; line-height: 1.35; white-space: nowrap; z-index: 1; }
.tip td + td { text-align: right; padding-left: 1em; font-variant-numeric: tabular-nums; }
</style>
)";

// Finds the load under the pointer in the panel under it, and lists the values there. The numbers
// and where the panels stand in a picture are in FIGURES.
static const char SCRIPT[] = R"(
const text = (v) => Number(v.toPrecision(5)).toString();
for (const chart of document.querySelectorAll('.chart')) {
  const figure = FIGURES[chart.dataset.figure];
  const [picture, line, tip] = chart.children;
  const hide = () => { line.hidden = tip.hidden = true; };
  const show = (event) => {
    const rect = picture.getBoundingClientRect();
    const scale = rect.width / figure.width;
    const x = (event.clientX - rect.left) / scale, y = (event.clientY - rect.top) / scale;
    const panel = figure.panels.find(p => x > p.left - 8 && x < p.right + 8 && y > p.top && y < p.bottom);
    if (!panel) return hide();
    const place = (mbps) => panel.left + mbps / figure.top * (panel.right - panel.left);
    const load = figure.loads.reduce((best, mbps, i) =>
      Math.abs(place(mbps) - x) < Math.abs(place(figure.loads[best]) - x) ? i : best, 0);
    const at = place(figure.loads[load]);
    Object.assign(line.style, { left: at * scale + 'px', top: panel.top * scale + 'px',
      height: (panel.bottom - panel.top) * scale + 'px' });
    tip.replaceChildren(Object.assign(document.createElement('b'),
      { textContent: panel.title + ', offered ' + figure.loads[load] + ' Mbit/s' }), document.createElement('table'));
    for (const curve of panel.curves) {
      const row = tip.lastChild.insertRow(), mean = curve.mean[load], half = curve.half[load];
      row.insertCell().textContent = curve.title;
      row.insertCell().textContent = mean === null ? 'no value' : text(mean) +
        (half === null ? '' : ' \u00b1 ' + Number(half.toPrecision(2))) + ' ' + panel.unit +
        (curve.steady[load] ? '' : ', not steady');
    }
    line.hidden = tip.hidden = false;
    const left = at * scale + 14, room = rect.width - tip.offsetWidth;
    tip.style.left = (left <= room ? left : Math.max(0, at * scale - 14 - tip.offsetWidth)) + 'px';
    tip.style.top = Math.max(0, Math.min(y * scale, rect.height - tip.offsetHeight)) + 'px';
  };
  hide();
  chart.addEventListener('pointermove', show);
  chart.addEventListener('pointerdown', show);
  chart.addEventListener('pointerleave', hide);
}
)";

static std::string Escape(const std::string &text)
{
    std::string escaped;
    for (char letter : text) {
        switch (letter) {
        case '&':
            escaped += "&amp;";
            break;
        case '<':
            escaped += "&lt;";
            break;
        case '>':
            escaped += "&gt;";
            break;
        case '"':
            escaped += "&quot;";
            break;
        default:
            escaped += letter;
        }
    }
    return escaped;
}

// A picture as an address that holds it. Letters and digits stay, and what often stands in an SVG.
static std::string DataAddress(const std::string &svg)
{
    static constexpr char PLAIN[] = " ,.-/=:;_()'";
    std::string address = "data:image/svg+xml,";
    for (char letter : svg) {
        const auto code = static_cast<unsigned char>(letter);
        if (std::isalnum(code) != 0 ||
            std::string_view(PLAIN).find(letter) != std::string_view::npos) {
            address += letter;
        } else {
            char hex[4];
            std::snprintf(hex, sizeof hex, "%%%02X", code);
            address += hex;
        }
    }
    return address;
}

static std::string Join(const std::set<std::string> &words)
{
    std::string joined;
    for (const std::string &word : words) {
        joined += (joined.empty() ? "" : "; ") + word;
    }
    return joined.empty() ? "unknown: no manifest.json beside the results" : joined;
}

// What the script of the page knows of a figure. Numbers that are inf or nan become null.
static json FigureAsJson(const DATA &data, const FIGURE &figure)
{
    json panels = json::array();
    for (size_t number = 0; number < figure.panels.size(); ++number) {
        const PANEL &panel = figure.panels[number];
        json curves = json::array();
        for (const CURVE &curve : panel.curves) {
            json made = {{"title", curve.title}};
            for (const auto [mean, half, is_steady] : CurvePoints(data, curve, panel.y_unit)) {
                made["mean"].push_back(mean);
                made["half"].push_back(half);
                made["steady"].push_back(is_steady || !std::isfinite(mean));
            }
            curves.push_back(made);
        }
        const BOX box = PanelBox(figure, number);
        panels.push_back({{"title", panel.title},
                          {"unit", panel.unit},
                          {"left", box.left},
                          {"right", box.right},
                          {"top", box.top},
                          {"bottom", box.bottom},
                          {"curves", curves}});
    }
    return {{"width", FigureBox(figure).right},
            {"top", LoadTop(data)},
            {"loads", Loads(data)},
            {"panels", panels}};
}

static void WriteRow(std::ostream &page, const char *what, const std::string &value)
{
    page << "<tr><th>" << what << "</th><td>" << Escape(value) << "</td></tr>\n";
}

static void WriteHeader(std::ostream &page, const DATA &data, const SOURCE &source)
{
    const SETTINGS &experiment = data.form->experiment;
    const std::string title = experiment.title;
    page << HEAD << "<h1>"
         << Escape(title.empty() ? "Ten stations, " + std::to_string(experiment.flow_num) +
                                       " flows, one channel"
                                 : title)
         << "</h1>\n";
    if (data.is_quick) {
        page << "<p class=\"quick\">QUICK: every load point was cut short. These figures show that "
                "the campaign works, and mean nothing.</p>\n";
    }
    page << "<table>\n";
    WriteRow(page, "results",
             data.replications > 0
                 ? source.dir + ", means of " + std::to_string(data.replications) +
                       " replications with 95 % confidence intervals"
                 : source.dir + ", one run: means of its trials, without intervals");
    const std::string keys = DifferentKeys(experiment, {});
    WriteRow(page, "experiment",
             keys.empty() ? "the published one" : "other than the published one in: " + keys);
    WriteRow(page, "seeds", source.seeds.empty() ? Join({}) : SeedText(source.seeds));
    WriteRow(page, "generator", Join(source.generators));
    WriteRow(page, "simulated by", Join(source.programs));
    WriteRow(page, "drawn by",
             std::string(ProgramVersion()) + ", commit " + ProgramCommit() + ": " + source.command);
    WriteRow(page, "no steady state",
             "where more packets of the flow stay or are refused than chance explains; of all "
             "flows together, where any has none");
    page << "</table>\n<p class=\"note\">Point at a figure to read its values. Where there are "
            "several curves and many loads, each has a mark at "
            "every fifth load, at loads of its own. Filled marks are in a steady state; what "
            "hollow ones show depends on how long the run was.";
    if (data.replications > 0) {
        page << " Bars are drawn at every load; on a logarithmic axis one that reaches below zero "
                "ends at the frame.";
    }
    page << "</p>\n";
}

static void WriteFigureElement(std::ostream &page, const SHOWN &shown)
{
    const FIGURE &figure = shown.figure;
    page << "<figure id=\"" << figure.name << "\">\n<div class=\"chart\" data-figure=\""
         << figure.name << "\"><img alt=\"" << Escape(figure.title)
         << " against offered load\" src=\"" << DataAddress(shown.svg)
         << "\"><div class=\"line\" hidden></div><div class=\"tip\" hidden></div></div>\n"
         << "<figcaption><strong>" << Escape(figure.title) << ".</strong> "
         << Escape(figure.caption);
    for (size_t i = 0; i < shown.left_out.size(); ++i) {
        page << (i == 0 ? " Not drawn, as all values are 0: " : "; ") << Escape(shown.left_out[i])
             << (i + 1 == shown.left_out.size() ? "." : "");
    }
    page << " Files beside this page:";
    for (const char *ending : {"svg", "png", "pdf"}) {
        page << " <a href=\"" << figure.name << '.' << ending << "\">" << figure.name << '.'
             << ending << "</a>";
    }
    page << "</figcaption>\n</figure>\n";
}

void WritePage(std::ostream &page, const DATA &data, const SOURCE &source,
               const std::vector<SHOWN> &shown)
{
    WriteHeader(page, data, source);
    json figures;
    for (const SHOWN &one : shown) {
        if (!one.figure.panels.empty()) {
            WriteFigureElement(page, one);
            figures[one.figure.name] = FigureAsJson(data, one.figure);
        }
    }
    page << "<script>\nconst FIGURES = " << figures.dump() << ";" << SCRIPT
         << "</script>\n</html>\n";
}

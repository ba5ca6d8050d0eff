#include "tools/tree_values.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <unordered_map>
#include <utility>

#include "tools/value_rules.h"

void TREE_VALUES::Add(std::string_view text)
{
    texts.emplace_back(text);
    numbers.push_back(std::strtod(texts.back().c_str(), nullptr));
}

static std::string Key(const std::string &file, const std::string &kind, const std::string &thing,
                       const std::string &metric, const std::string &unit)
{
    std::string key;
    for (const std::string *part : {&file, &kind, &thing, &metric, &unit}) {
        key.append(*part).push_back('\t');
    }
    return key;
}

// Where the values of a form stand, and under which names.
struct TREE_INDEX {
    std::vector<TREE_PLACE> places;
    std::unordered_map<std::string, SERIES> series;
};

static TREE_INDEX MakeIndex(const TREE_FORM &form)
{
    TREE_INDEX made;
    for (const FILE_FORM &file : form.files) {
        int number = 0;
        for (const LINE &line : file.lines) {
            ++number;
            for (const CELL &cell : line) {
                if (!cell.is_value) {
                    continue;
                }
                const size_t place = made.places.size();
                made.places.push_back({&file, &cell, number});
                if (cell.kind == nullptr) {
                    made.series[Key(file.name, TREE_FILLER, "", "", "")].push_back(place);
                    continue;
                }
                for (const std::string &unit : {std::string(), cell.unit}) {
                    made.series[Key(file.name, cell.kind, cell.thing, cell.text, unit)].push_back(
                        place);
                }
            }
        }
    }
    return made;
}

static const TREE_INDEX &IndexOf(const TREE_FORM &form)
{
    static std::map<const TREE_FORM *, TREE_INDEX> made;
    const auto found = made.find(&form);
    return found != made.end() ? found->second : made.emplace(&form, MakeIndex(form)).first->second;
}

const std::vector<TREE_PLACE> &TreePlaces(const TREE_FORM &form)
{
    return IndexOf(form).places;
}

const SERIES &FindSeries(const TREE_FORM &form, const std::string &file, const std::string &kind,
                         const std::string &thing, const std::string &metric,
                         const std::string &unit)
{
    static const SERIES none;
    const auto &series = IndexOf(form).series;
    const auto found = series.find(Key(file, kind, thing, metric, unit));
    return found == series.end() ? none : found->second;
}

AUDIT::AUDIT(const TREE_FORM &tree_form, const TREE_VALUES &tree, std::string folder)
    : form(tree_form), values(tree), dir(std::move(folder))
{
}

double AUDIT::At(size_t place) const
{
    return values.numbers[place];
}

static std::string NumberText(double number)
{
    char text[40];
    std::snprintf(text, sizeof text, "%.10g", number);
    return std::isnan(number) ? "nan" : text;
}

void AUDIT::Equal(size_t place, double wanted, double tolerance, const char *why)
{
    const double number = At(place);
    const bool is_equal = std::isfinite(wanted)
                              ? std::abs(number - wanted) <= tolerance
                              : number == wanted || (std::isnan(number) && std::isnan(wanted));
    if (!is_equal) {
        Blame(place, NumberText(wanted), why);
    }
}

void AUDIT::Within(size_t place, double low, double high, const char *why)
{
    const double number = At(place);
    if (!(number >= low && number <= high)) {
        Blame(place, NumberText(low) + " .. " + NumberText(high), why);
    }
}

void AUDIT::Blame(size_t place, const std::string &expected, const char *why)
{
    const TREE_PLACE &what = TreePlaces(form)[place];
    const CELL &cell = *what.cell;
    std::string name = cell.text;
    if (cell.kind != nullptr) {
        name.append(" of ").append(cell.kind).append(cell.thing.empty() ? "" : " " + cell.thing);
    }
    if (cell.load_kbps != LOAD_NONE) {
        name += " at " + LoadText(cell.load_kbps) + " Mbit/s";
    }
    if (cell.trial > 0) {
        name += ", trial " + std::to_string(cell.trial);
    }
    errors.try_emplace(what.form->name,
                       dir + "/" + what.form->name + ":" + std::to_string(what.line) + ": '" +
                           values.texts[place] + "' (" + name + "), expected " + expected + ": " +
                           why + "; restore the results, or run again");
}

const std::map<std::string, std::string> &AUDIT::Errors() const
{
    return errors;
}

// Numbers that count.
static void CheckSigns(AUDIT &audit)
{
    const auto most = static_cast<double>(audit.Experiment().sim_ticks); // once a tick
    const std::vector<TREE_PLACE> &places = TreePlaces(audit.Form());
    for (size_t i = 0; i < places.size(); ++i) {
        const CELL &cell = *places[i].cell;
        if (cell.is_integer && (cell.unit == "frames" || cell.unit == "packets")) {
            audit.Within(i, 0, most, "a count");
        }
    }
}

std::map<std::string, std::string> CheckValues(const TREE_FORM &form, const TREE_VALUES &tree,
                                               const std::string &dir)
{
    AUDIT audit(form, tree, dir);
    if (!FollowsPairs(form.experiment)) {
        CheckFlowFile(audit);
        return audit.Errors();
    }
    CheckSigns(audit);
    CheckStations(audit);
    CheckCollisions(audit);
    CheckPairs(audit);
    if (!audit.Errors().empty()) {
        return audit.Errors(); // wrong counts are no measure for means
    }
    CheckFlows(audit);
    CheckMeans(audit);
    CheckFlowFile(audit);
    return audit.Errors();
}

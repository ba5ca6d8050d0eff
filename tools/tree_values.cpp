#include "tools/tree_values.h"

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

const std::vector<TREE_PLACE> &TreePlaces()
{
    static const std::vector<TREE_PLACE> places = [] {
        std::vector<TREE_PLACE> made;
        for (const FILE_FORM &form : ResultForms()) {
            int number = 0;
            for (const LINE &line : form.lines) {
                ++number;
                for (const CELL &cell : line) {
                    if (cell.is_value) {
                        made.push_back({&form, &cell, number});
                    }
                }
            }
        }
        return made;
    }();
    return places;
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

const SERIES &FindSeries(const std::string &file, const std::string &kind, const std::string &thing,
                         const std::string &metric, const std::string &unit)
{
    static const std::unordered_map<std::string, SERIES> index = [] {
        std::unordered_map<std::string, SERIES> made;
        const std::vector<TREE_PLACE> &places = TreePlaces();
        for (size_t i = 0; i < places.size(); ++i) {
            const CELL &cell = *places[i].cell;
            const std::string &name = places[i].form->name;
            if (cell.kind == nullptr) {
                made[Key(name, TREE_FILLER, "", "", "")].push_back(i);
                continue;
            }
            made[Key(name, cell.kind, cell.thing, cell.text, "")].push_back(i);
            made[Key(name, cell.kind, cell.thing, cell.text, cell.unit)].push_back(i);
        }
        return made;
    }();
    static const SERIES none;
    const auto found = index.find(Key(file, kind, thing, metric, unit));
    return found == index.end() ? none : found->second;
}

AUDIT::AUDIT(const TREE_VALUES &tree, std::string folder) : values(tree), dir(std::move(folder))
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
    const TREE_PLACE &what = TreePlaces()[place];
    const CELL &cell = *what.cell;
    std::string name = cell.text;
    if (cell.kind != nullptr) {
        name.append(" of ").append(cell.kind).append(cell.thing.empty() ? "" : " " + cell.thing);
    }
    if (cell.load != LOAD_NONE) {
        name += " at " + std::to_string(cell.load) + " Mbit/s";
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

// Numbers that count: none is below 0, but for the gap between packets without load.
static void CheckSigns(AUDIT &audit)
{
    constexpr double MOST = 4e7; // of what happens at most once a tick
    const std::vector<TREE_PLACE> &places = TreePlaces();
    for (size_t i = 0; i < places.size(); ++i) {
        const CELL &cell = *places[i].cell;
        if (cell.is_integer && cell.text != "arrival_gap") {
            audit.Within(i, 0, MOST, "a count");
        }
    }
}

std::map<std::string, std::string> CheckValues(const TREE_VALUES &tree, const std::string &dir)
{
    AUDIT audit(tree, dir);
    CheckSigns(audit);
    CheckStations(audit);
    CheckCollisions(audit);
    CheckPairs(audit);
    if (!audit.Errors().empty()) {
        return audit.Errors(); // wrong counts are no measure for means
    }
    CheckFlows(audit);
    CheckMeans(audit);
    return audit.Errors();
}

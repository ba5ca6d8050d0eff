// The numbers of a result tree by name, and how one of them is held against others.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "tools/result_tree.h"

// Places of the values of one quantity, in the order of the file: a value per load, or, where the
// file shows the trials, those of trial 1 and then of trial 2.
using SERIES = std::vector<size_t>;

// The numbers of all files in their order; texts as printed.
struct TREE_VALUES {
    std::vector<std::string> texts;
    std::vector<double> numbers;

    void Add(std::string_view text);
};

// What stands in a place.
struct TREE_PLACE {
    const FILE_FORM *form;
    const CELL *cell;
    int line;
};
const std::vector<TREE_PLACE> &TreePlaces(const TREE_FORM &form);

// The places of a quantity; empty if there is none. `unit` may be left out where the file has one
// quantity of that name. TREE_FILLER is the kind of numbers that nobody exports.
constexpr char TREE_FILLER[] = "";
const SERIES &FindSeries(const TREE_FORM &form, const std::string &file, const std::string &kind,
                         const std::string &thing, const std::string &metric,
                         const std::string &unit = "");

// Collects what does not fit, one message a file.
class AUDIT
{
  public:
    AUDIT(const TREE_FORM &tree_form, const TREE_VALUES &tree, std::string folder);

    // Whose results these are.
    [[nodiscard]] const TREE_FORM &Form() const
    {
        return form;
    }
    [[nodiscard]] const SETTINGS &Experiment() const
    {
        return form.experiment;
    }

    [[nodiscard]] double At(size_t place) const;

    // The number must be `wanted`, give or take `tolerance`; inf and nan must be the same.
    void Equal(size_t place, double wanted, double tolerance, const char *why);

    // The number must be finite and in low .. high.
    void Within(size_t place, double low, double high, const char *why);

    // The number is refused.
    void Blame(size_t place, const std::string &expected, const char *why);

    // The first message of each file, by its name.
    [[nodiscard]] const std::map<std::string, std::string> &Errors() const;

  private:
    const TREE_FORM &form;
    const TREE_VALUES &values;
    std::string dir;
    std::map<std::string, std::string> errors;
};

// Holds the values of a tree in which every file has its form against each other and against the
// rules of the experiment. Returns what does not fit: a message by the file it is in.
std::map<std::string, std::string> CheckValues(const TREE_FORM &form, const TREE_VALUES &tree,
                                               const std::string &dir);

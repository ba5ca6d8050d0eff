#include "tools/quantities.h"

#include <cstdint>
#include <cstdlib>
#include <functional>
#include <map>
#include <string_view>
#include <tuple>

#include "tools/derived.h"
#include "tools/read_tree.h"
#include "tools/result_tree.h"

constexpr size_t NO_QUANTITY = SIZE_MAX;

// Where the inputs of a derived quantity stand.
struct RECIPE {
    std::vector<size_t> inputs;
    std::function<double(const std::vector<double> &inputs)> formula;
};

// The quantities, and where each value of a tree goes.
struct CATALOGUE {
    std::vector<QUANTITY> quantities;
    std::vector<size_t> of_value; // quantity of each value in file order, or NO_QUANTITY
    std::vector<RECIPE> recipes;  // of the last quantities, those that no file holds
};

using NAME = std::tuple<std::string, int, std::string, std::string, std::string, std::string>;

static NAME Name(const QUANTITY &what)
{
    return {what.file, what.load_kbps, what.kind, what.thing, what.metric, what.unit};
}

static CATALOGUE MakeCatalogue(const TREE_FORM &tree)
{
    CATALOGUE made{};
    std::map<NAME, size_t> known;
    const auto enter = [&](const FILE_FORM &form, const CELL &cell) {
        if (cell.kind == nullptr || cell.load_kbps == LOAD_NONE) {
            return NO_QUANTITY;
        }
        const QUANTITY what{form.name, cell.load_kbps, cell.kind, cell.thing, cell.text, cell.unit};
        const auto [entry, is_new] = known.try_emplace(Name(what), made.quantities.size());
        if (is_new) {
            made.quantities.push_back(what);
        }
        return entry->second;
    };
    for (const FILE_FORM &form : tree.files) {
        for (const LINE &line : form.lines) {
            for (const CELL &cell : line) {
                if (cell.is_value) {
                    made.of_value.push_back(enter(form, cell));
                }
            }
        }
    }
    for (const DERIVED &derived : DerivedQuantities(tree)) {
        RECIPE recipe{{}, derived.formula};
        for (const QUANTITY &input : derived.inputs) {
            recipe.inputs.push_back(known.at(Name(input)));
        }
        made.recipes.push_back(recipe);
        made.quantities.push_back(derived.what);
    }
    return made;
}

static const CATALOGUE &CatalogueOf(const TREE_FORM &form)
{
    static std::map<const TREE_FORM *, CATALOGUE> made;
    const auto found = made.find(&form);
    return found != made.end() ? found->second
                               : made.emplace(&form, MakeCatalogue(form)).first->second;
}

const std::vector<QUANTITY> &Quantities(const TREE_FORM &form)
{
    return CatalogueOf(form).quantities;
}

std::string ReadQuantities(const TREE_FORM &form, const std::string &dir,
                           std::vector<double> &values)
{
    const CATALOGUE &catalogue = CatalogueOf(form);
    const size_t in_files = catalogue.quantities.size() - catalogue.recipes.size();
    std::vector<int> count(in_files);
    size_t next = 0;
    values.assign(in_files, 0.0);
    std::string error =
        ReadResultTree(form, dir, [&](const FILE_FORM &, const CELL &, std::string_view value) {
            const size_t index = catalogue.of_value[next++];
            if (index != NO_QUANTITY) {
                values[index] += std::strtod(std::string(value).c_str(), nullptr);
                ++count[index];
            }
        });
    if (!error.empty()) {
        return error;
    }
    for (size_t i = 0; i < in_files; ++i) {
        values[i] /= count[i];
    }
    std::vector<double> inputs;
    for (const RECIPE &recipe : catalogue.recipes) {
        inputs.clear();
        for (size_t index : recipe.inputs) {
            inputs.push_back(values[index]);
        }
        values.push_back(recipe.formula(inputs));
    }
    return "";
}

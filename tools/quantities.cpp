#include "tools/quantities.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <string_view>
#include <tuple>

#include "tools/read_tree.h"
#include "tools/result_tree.h"

constexpr size_t NO_QUANTITY = SIZE_MAX;

// The quantities, and where each value of a tree goes.
struct CATALOGUE {
    std::vector<QUANTITY> quantities;
    std::vector<size_t> of_value; // quantity of each value in file order, or NO_QUANTITY
    std::vector<size_t>
        flow_values;    // quantities that make up the total, all flows of a load at once
    size_t total_begin; // quantity of the total at the first load
};

static bool IsFlowThroughput(const QUANTITY &quantity)
{
    return quantity.file == "throughput.txt" && quantity.metric == "throughput";
}

static CATALOGUE MakeCatalogue()
{
    CATALOGUE made{};
    std::map<std::tuple<std::string, int, std::string, std::string, std::string, std::string>,
             size_t>
        known;
    const auto enter = [&](const FILE_FORM &form, const CELL &cell) {
        if (cell.kind == nullptr || cell.load == LOAD_NONE) {
            return NO_QUANTITY;
        }
        const auto [entry, is_new] =
            known.try_emplace({form.name, cell.load, cell.kind, cell.thing, cell.text, cell.unit},
                              made.quantities.size());
        if (is_new) {
            made.quantities.push_back(
                {form.name, cell.load, cell.kind, cell.thing, cell.text, cell.unit});
            if (IsFlowThroughput(made.quantities.back())) {
                made.flow_values.push_back(entry->second);
            }
        }
        return entry->second;
    };
    for (const FILE_FORM &form : ResultForms()) {
        for (const LINE &line : form.lines) {
            for (const CELL &cell : line) {
                if (cell.is_value) {
                    made.of_value.push_back(enter(form, cell));
                }
            }
        }
    }
    made.total_begin = made.quantities.size();
    for (int load = 0; load < TREE_LOADS; ++load) {
        made.quantities.push_back(
            {"throughput.txt", load, "network", "", "total_throughput", "Mbit/s"});
    }
    return made;
}

static const CATALOGUE &Catalogue()
{
    static const CATALOGUE catalogue = MakeCatalogue();
    return catalogue;
}

const std::vector<QUANTITY> &Quantities()
{
    return Catalogue().quantities;
}

std::string ReadQuantities(const std::string &dir, std::vector<double> &values)
{
    const CATALOGUE &catalogue = Catalogue();
    std::vector<int> count(catalogue.quantities.size());
    size_t next = 0;
    values.assign(catalogue.quantities.size(), 0.0);
    std::string error =
        ReadResultTree(dir, [&](const FILE_FORM &, const CELL &, std::string_view value) {
            const size_t index = catalogue.of_value[next++];
            if (index != NO_QUANTITY) {
                values[index] += std::strtod(std::string(value).c_str(), nullptr);
                ++count[index];
            }
        });
    if (!error.empty()) {
        return error;
    }
    for (size_t i = 0; i < catalogue.total_begin; ++i) {
        values[i] /= count[i];
    }
    for (size_t index : catalogue.flow_values) {
        values[catalogue.total_begin + static_cast<size_t>(catalogue.quantities[index].load)] +=
            values[index];
    }
    return "";
}

#include "tools/comparison.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <tuple>

#include "tools/campaign_folder.h"
#include "tools/derived.h"
#include "tools/open_tree.h"
#include "tools/quantities.h"

// The replications of a campaign, or the one run of a tree.
static std::string ReadSide(const std::string &dir, std::vector<FINISHED> &runs)
{
    if (IsCampaign(dir)) {
        return ReadReplications(dir, runs);
    }
    TREE tree;
    std::string why = OpenTree(dir, tree);
    runs = {{0, "", false, "", tree.dir, tree.form}};
    return why;
}

// Pairs the replications of the same seed.
static void PairUp(const std::vector<FINISHED> &a, const std::vector<FINISHED> &b, PLAN &plan)
{
    std::map<int64_t, std::string> partners;
    for (const FINISHED &run : b) {
        partners[run.seed] = run.tree;
    }
    for (const FINISHED &run : a) {
        const auto partner = partners.find(run.seed);
        if (partner != partners.end()) {
            plan.a.push_back(run.tree);
            plan.b.push_back(partner->second);
        }
    }
    plan.left_out = a.size() + b.size() - 2 * plan.a.size();
    plan.generator = a.front().generator;
}

std::string MakePlan(const std::string &a, const std::string &b, PLAN &plan)
{
    std::vector<FINISHED> a_runs;
    std::vector<FINISHED> b_runs;
    for (auto [dir, runs] : {std::pair(&a, &a_runs), std::pair(&b, &b_runs)}) {
        std::string why = ReadSide(*dir, *runs);
        if (!why.empty()) {
            return why;
        }
    }
    const TREE_FORM *const a_form = a_runs.front().form;
    const TREE_FORM *const b_form = b_runs.front().form;
    plan = {METHOD_PAIRED, {}, {}, 0, "", a_form, b_form};
    if (IsCampaign(a) && IsCampaign(b)) {
        if (a_runs.front().is_quick != b_runs.front().is_quick) {
            const bool is_a = a_runs.front().is_quick;
            return (is_a ? b : a) + ": is a whole campaign, " + (is_a ? a : b) +
                   " a quick one; compare campaigns of one kind";
        }
        if (a_runs.front().generator == b_runs.front().generator) {
            PairUp(a_runs, b_runs, plan);
        }
    }
    if (plan.a.size() > 1) {
        return "";
    }
    plan = {a_runs.size() + b_runs.size() == 2 ? METHOD_EQUAL : METHOD_WELCH,
            {},
            {},
            0,
            "",
            a_form,
            b_form};
    for (auto [runs, trees] : {std::pair(&a_runs, &plan.a), std::pair(&b_runs, &plan.b)}) {
        trees->reserve(runs->size());
        for (const FINISHED &run : *runs) {
            trees->push_back(run.tree);
        }
    }
    return "";
}

// Reads all trees into the moments.
static std::string ReadRuns(const PLAN &plan, std::vector<COMPARISON> &comparisons)
{
    std::vector<double> a;
    std::vector<double> b;
    for (size_t i = 0; i < std::max(plan.a.size(), plan.b.size()); ++i) {
        std::string why = i < plan.a.size() ? ReadQuantities(*plan.a_form, plan.a[i], a) : "";
        if (why.empty() && i < plan.b.size()) {
            why = ReadQuantities(*plan.b_form, plan.b[i], b);
        }
        if (!why.empty()) {
            const bool is_advised = why.find("; ") != std::string::npos;
            return is_advised ? why : why + "; restore it, or run it again";
        }
        for (COMPARISON &comparison : comparisons) {
            if (i < plan.a.size()) {
                AddValue(comparison.a, a[comparison.quantity]);
            }
            if (i < plan.b.size()) {
                AddValue(comparison.b, b[comparison.other]);
            }
            if (plan.method == METHOD_PAIRED) {
                AddValue(comparison.pairs, b[comparison.other] - a[comparison.quantity]);
            }
        }
    }
    return "";
}

// Whether there is something to test: not where all runs, or both of each pair, have one number.
static bool IsTest(const COMPARISON &of, METHOD method)
{
    if (method == METHOD_EQUAL || std::isnan(of.difference.p)) {
        return false;
    }
    if (std::isnan(of.difference.mean)) {
        return true; // values against none
    }
    return method == METHOD_PAIRED ? of.pairs.mean != 0.0 || of.pairs.squares != 0.0
                                   : of.a.mean != of.b.mean || of.a.squares + of.b.squares > 0.0;
}

// For each comparison the first one of the same name and numbers.
static std::vector<size_t> FindFirsts(const PLAN &plan, const std::vector<COMPARISON> &comparisons)
{
    using NUMBERS = std::tuple<int, double, double, int, double, double>;
    std::map<std::tuple<int, std::string, std::string, std::string, NUMBERS>, size_t> known;
    std::vector<size_t> firsts;
    firsts.reserve(comparisons.size());
    for (size_t i = 0; i < comparisons.size(); ++i) {
        const auto &[n_a, mean_a, squares_a] = comparisons[i].a;
        const auto &[n_b, mean_b, squares_b] = comparisons[i].b;
        const QUANTITY &what = Quantities(*plan.a_form)[comparisons[i].quantity];
        const auto [entry, is_new] =
            known.try_emplace({what.load_kbps,
                               what.kind,
                               what.thing,
                               what.metric,
                               {n_a, mean_a, squares_a, n_b, mean_b, squares_b}},
                              i);
        firsts.push_back(entry->second);
    }
    return firsts;
}

// Whether the one has a value in each run and the other in none.
static bool IsOneSided(const COMPARISON &of, int a, int b)
{
    return (of.a.n == 0 && of.b.n == b) || (of.b.n == 0 && of.a.n == a);
}

static DIFFERENCE Difference(const COMPARISON &of, const PLAN &plan)
{
    const auto a = static_cast<int>(plan.a.size());
    const auto b = static_cast<int>(plan.b.size());
    const bool is_paired = plan.method == METHOD_PAIRED;
    if (plan.method != METHOD_EQUAL && IsOneSided(of, a, b)) {
        return {NAN, NAN, is_paired ? OneSidedByChance(a) : ApartByChance(a, b)};
    }
    return is_paired ? PairedDifference(of.pairs) : WelchDifference(of.a, of.b);
}

static void Judge(const PLAN &plan, std::vector<COMPARISON> &comparisons)
{
    const std::vector<size_t> firsts = FindFirsts(plan, comparisons);
    std::vector<double> p(comparisons.size(), NAN);
    for (size_t i = 0; i < comparisons.size(); ++i) {
        COMPARISON &of = comparisons[i];
        of.difference = Difference(of, plan);
        of.is_repeat = firsts[i] != i;
        if (!of.is_repeat && IsTest(of, plan.method)) {
            p[i] = of.difference.p;
        }
    }
    const std::vector<double> adjusted = HolmAdjusted(p);
    for (size_t i = 0; i < comparisons.size(); ++i) {
        COMPARISON &of = comparisons[i];
        of.p_adjusted = adjusted[firsts[i]];
        of.differs = plan.method == METHOD_EQUAL ? of.a.n != of.b.n || of.a.mean != of.b.mean
                                                 : of.p_adjusted < SIGNIFICANCE;
    }
}

std::string Compare(const PLAN &plan, const std::set<std::string> &metrics,
                    std::vector<COMPARISON> &comparisons)
{
    using NAME = std::tuple<std::string, int, std::string, std::string, std::string, std::string>;
    // What is reckoned from all flows is the same thing, whichever file tells of the flows.
    const auto name = [](const TREE_FORM &form, const QUANTITY &what) {
        const bool is_of_all = what.kind == "network" && what.file == FlowFile(form);
        return NAME{is_of_all ? "" : what.file,
                    what.load_kbps,
                    what.kind,
                    what.thing,
                    what.metric,
                    what.unit};
    };
    std::map<NAME, size_t> places;
    for (const QUANTITY &what : Quantities(*plan.b_form)) {
        places.emplace(name(*plan.b_form, what), places.size());
    }
    comparisons.clear();
    for (size_t i = 0; i < Quantities(*plan.a_form).size(); ++i) {
        const QUANTITY &what = Quantities(*plan.a_form)[i];
        const auto other = places.find(name(*plan.a_form, what));
        if (other != places.end() && (metrics.empty() || metrics.contains(what.metric))) {
            comparisons.push_back({i, other->second, {}, {}, {}, {}, NAN, false, false});
        }
    }
    if (comparisons.empty()) {
        return metrics.empty()
                   ? "nothing can be compared: the experiments have no load in common"
                   : "nothing can be compared: the experiments have these metrics at no "
                     "load, and of no flow or station, in common";
    }
    std::string why = ReadRuns(plan, comparisons);
    if (why.empty()) {
        Judge(plan, comparisons);
    }
    return why;
}

// dcfsim-compare: do two campaigns, or two result trees, differ by more than chance, and in what?
#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <set>
#include <string>
#include <vector>

#include "tools/comparison.h"
#include "tools/open_tree.h"
#include "tools/options.h"
#include "tools/quantities.h"
#include "tools/replace_file.h"

static const char PROGRAM[] = "dcfsim-compare";

constexpr int STATUS_DIFFERENT = 1;
constexpr int STATUS_TROUBLE = 2; // as of `cmp`: nothing was found out

static int Trouble(const std::string &why)
{
    Fail(PROGRAM, why);
    return STATUS_TROUBLE;
}

static std::string NumberText(double value, const char *format)
{
    char text[32];
    std::snprintf(text, sizeof text, format, value);
    return std::isnan(value) ? "nan" : text;
}

static std::string Csv(const PLAN &plan, const std::vector<COMPARISON> &comparisons)
{
    std::string csv = "file,load_mbps,kind,thing,metric,unit,n_a,mean_a,n_b,mean_b,difference,"
                      "half_width_95,p,p_holm,differs\n";
    for (const COMPARISON &of : comparisons) {
        const QUANTITY &what = Quantities(*plan.a_form)[of.quantity];
        const auto number = [](double value) { return NumberText(value, "%.10g"); };
        for (const std::string &field :
             {what.file, LoadText(what.load_kbps), what.kind, what.thing, what.metric, what.unit,
              std::to_string(of.a.n), number(of.a.n > 0 ? of.a.mean : NAN), std::to_string(of.b.n),
              number(of.b.n > 0 ? of.b.mean : NAN), number(of.difference.mean),
              number(of.difference.half_width), number(of.difference.p), number(of.p_adjusted)}) {
            csv.append(field).push_back(',');
        }
        csv.append(of.differs ? "yes\n" : "no\n");
    }
    return csv;
}

// Loads that the one has and the other has not.
static int64_t LoadsAlone(const TREE_FORM &one, const TREE_FORM &other)
{
    const auto has = [](const SETTINGS &experiment, int32_t kbps) {
        return std::find(experiment.load_list, experiment.load_list + experiment.load_num, kbps) !=
               experiment.load_list + experiment.load_num;
    };
    return std::count_if(one.experiment.load_list,
                         one.experiment.load_list + one.experiment.load_num,
                         [&](int32_t kbps) { return !has(other.experiment, kbps); });
}

static void PrintExperiments(const PLAN &plan)
{
    const std::string keys = DifferentKeys(plan.a_form->experiment, plan.b_form->experiment);
    if (keys.empty()) {
        return;
    }
    std::printf("Two experiments, which differ in: %s.\n", keys.c_str());
    const int64_t a = LoadsAlone(*plan.a_form, *plan.b_form);
    const int64_t b = LoadsAlone(*plan.b_form, *plan.a_form);
    if (a + b > 0) {
        std::printf("Left out: %jd loads of A and %jd of B that the other one has not.\n",
                    static_cast<intmax_t>(a), static_cast<intmax_t>(b));
    }
}

static void PrintPlan(const PLAN &plan)
{
    PrintExperiments(plan);
    const std::string a = std::to_string(plan.a.size());
    const std::string b = std::to_string(plan.b.size());
    if (plan.method == METHOD_EQUAL) {
        std::puts("One run each, so no intervals: any difference counts.");
        return;
    }
    if (plan.method == METHOD_PAIRED) {
        std::printf("%s pairs of replications with the same seeds (%s)", a.c_str(),
                    plan.generator.c_str());
        std::printf(plan.left_out > 0 ? ", %zu without a partner left out.\n" : ".\n",
                    plan.left_out);
    } else {
        std::printf("%s and %s independent runs, compared by Welch's test.\n", a.c_str(),
                    b.c_str());
    }
    constexpr size_t FEW = 5;
    if (std::min(plan.a.size(), plan.b.size()) < FEW) {
        std::puts("So few runs show none but large differences.");
    }
}

// The most certain differences, and how many there are.
static void PrintDifferences(const PLAN &plan, std::vector<COMPARISON> &comparisons, int rows)
{
    const auto tests = std::count_if(comparisons.begin(), comparisons.end(), [](const auto &of) {
        return !of.is_repeat && !std::isnan(of.p_adjusted);
    });
    std::erase_if(comparisons, [](const COMPARISON &of) { return !of.differs || of.is_repeat; });
    const auto doubt = [](const COMPARISON &of) {
        return std::isnan(of.difference.p) ? -1.0 : of.difference.p;
    };
    std::stable_sort(
        comparisons.begin(), comparisons.end(),
        [&doubt](const auto &one, const auto &two) { return doubt(one) < doubt(two); });
    if (tests > 0) {
        std::printf("%td tests. ", tests);
    }
    if (comparisons.empty()) {
        std::puts("Nothing differs.");
        return;
    }
    std::printf(tests > 0
                    ? "%zu values differ, at 5 %% of all together after Holm's correction.\n\n"
                    : "%zu values differ.\n\n",
                comparisons.size());
    std::printf("%-22s %4s  %-12s %-28s %12s %12s %12s %10s %9s\n", "file", "load", "of", "metric",
                "A", "B", "B - A", "+- 95 %", "p, Holm");
    const size_t shown = std::min(comparisons.size(), static_cast<size_t>(rows));
    for (size_t i = 0; i < shown; ++i) {
        const COMPARISON &of = comparisons[i];
        const QUANTITY &what = Quantities(*plan.a_form)[of.quantity];
        const auto number = [](double value) { return NumberText(value, "%.6g"); };
        std::printf("%-22s %4s  %-12s %-28s %12s %12s %12s %10s %9s\n", what.file.c_str(),
                    LoadText(what.load_kbps).c_str(), (what.kind + " " + what.thing).c_str(),
                    what.metric.c_str(), number(of.a.n > 0 ? of.a.mean : NAN).c_str(),
                    number(of.b.n > 0 ? of.b.mean : NAN).c_str(),
                    number(of.difference.mean).c_str(),
                    NumberText(of.difference.half_width, "%.3g").c_str(),
                    NumberText(of.p_adjusted, "%.2g").c_str());
    }
    if (shown < comparisons.size()) {
        std::printf("and %zu more; --output writes all of them\n", comparisons.size() - shown);
    }
}

// The first of the names that no quantity has, or an empty text.
static std::string UnknownMetric(const PLAN &plan, const std::vector<std::string> &metrics)
{
    const std::vector<QUANTITY> &quantities = Quantities(*plan.a_form);
    for (const std::string &metric : metrics) {
        if (std::none_of(quantities.begin(), quantities.end(),
                         [&metric](const QUANTITY &what) { return what.metric == metric; })) {
            return metric;
        }
    }
    return "";
}

static int Main(int argc, char **argv)
{
    constexpr int ROWS = 20;
    std::string a;
    std::string b;
    std::string output;
    std::vector<std::string> metrics;
    int rows = ROWS;
    CLI::App app("Compares two campaigns of dcfsim-replicate, or two result trees, by load and "
                 "metric, of one experiment or of two. The exit status is 0 if they are the same "
                 "but for chance, 1 if they "
                 "differ, 2 if the command line is wrong or something cannot be read.",
                 PROGRAM);
    app.add_option("A", a, "Campaign, or result files")->required();
    app.add_option("B", b, "What it is compared with")->required();
    app.add_option("-o,--output", output, "Write every comparison as CSV to FILE")
        ->option_text("FILE");
    app.add_option("-m,--metric", metrics,
                   "Compare METRIC alone; may be given again. Fewer tests show smaller differences")
        ->option_text("METRIC")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    app.add_option("-r,--rows", rows, "Rows of the table at most, 20 unless given")
        ->check(CLI::Range(0, 1'000'000))
        ->option_text("N");
    if (const auto status = ReadOptions(app, argc, argv)) {
        return *status;
    }
    PLAN plan;
    std::vector<COMPARISON> comparisons;
    std::string why = MakePlan(a, b, plan);
    const std::string unknown = why.empty() ? UnknownMetric(plan, metrics) : "";
    if (!unknown.empty()) {
        return Trouble("'" + unknown +
                       "' is no metric; results.md among the documents has a table of them");
    }
    if (why.empty()) {
        why = Compare(plan, {metrics.begin(), metrics.end()}, comparisons);
    }
    if (why.empty() && !output.empty()) {
        why = ReplaceFile(output, Csv(plan, comparisons));
    }
    if (!why.empty()) {
        return Trouble(why);
    }
    PrintPlan(plan);
    PrintDifferences(plan, comparisons, rows);
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        return Trouble("standard output: cannot be written; make room, or use another file");
    }
    return comparisons.empty() ? 0 : STATUS_DIFFERENT; // what is left differs
}

int main(int argc, char **argv)
{
    try {
        return Main(argc, argv);
    } catch (const std::exception &exception) {
        return Trouble(exception.what());
    }
}

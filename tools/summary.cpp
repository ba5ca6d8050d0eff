#include "tools/summary.h"

#include <cmath>
#include <cstdio>

#include "tools/quantities.h"
#include "tools/replace_file.h"
#include "tools/statistics.h"
#include "tools/steady.h"

static std::string NumberText(double value)
{
    if (!std::isfinite(value)) {
        return "nan";
    }
    char text[32];
    std::snprintf(text, sizeof text, "%.10g", value);
    return text;
}

static std::string SummaryText(const TREE_FORM &form, const std::vector<MOMENTS> &moments,
                               const BALANCE &balance)
{
    std::string csv = "file,load_mbps,kind,thing,metric,unit,n,mean,sd,half_width_95,steady\n";
    for (size_t i = 0; i < moments.size(); ++i) {
        const QUANTITY &what = Quantities(form)[i];
        const MOMENTS &of = moments[i];
        for (const std::string &field :
             {what.file, LoadText(what.load_kbps), what.kind, what.thing, what.metric, what.unit,
              std::to_string(of.n), NumberText(of.n > 0 ? of.mean : NAN), NumberText(Deviation(of)),
              NumberText(HalfWidth95(of))}) {
            csv.append(field).push_back(',');
        }
        csv.append(IsSteady(balance, form, what) ? "yes\n" : "no\n");
    }
    return csv;
}

std::string WriteSummary(const TREE_FORM &form, const std::vector<std::string> &dirs,
                         const std::string &path)
{
    std::vector<MOMENTS> moments(Quantities(form).size());
    BALANCE balance = MakeBalance(form.experiment);
    std::vector<double> values;
    for (const std::string &dir : dirs) {
        std::string error = ReadQuantities(form, dir, values);
        if (!error.empty()) {
            return error;
        }
        AddRun(balance, form, values);
        for (size_t i = 0; i < values.size(); ++i) {
            AddValue(moments[i], values[i]);
        }
    }
    return ReplaceFile(path, SummaryText(form, moments, balance));
}

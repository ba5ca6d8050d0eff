#include "tools/result_tree.h"

#include <algorithm>
#include <cstdio>
#include <list>
#include <string>

#include "output/files.h"
#include "output/settings_json.h"
#include "tools/form_parts.h"

static FILE_FORM MakeForm(const char *name, const SETTINGS &experiment)
{
    FILE_FORM form{name, {}, false};
    // A file that neither knows stays empty.
    static_cast<void>(FillMeans(form, experiment) || FillTrials(form, experiment));
    return form;
}

static std::vector<FILE_FORM> MakeForms(const SETTINGS &experiment)
{
    return {
#define FORM_ROW(stream, name) MakeForm(name, experiment),
        RESULT_FILES(FORM_ROW)
#undef FORM_ROW
    };
}

std::string LinkName(int sender, int receiver)
{
    return std::to_string(sender) + "->" + std::to_string(receiver);
}

std::vector<FLOW> DistinctFlows(const SETTINGS &experiment)
{
    std::vector<FLOW> flows;
    for (int32_t k = 0; k < experiment.flow_num; ++k) {
        const FLOW &flow = experiment.flow_list[k];
        if (std::none_of(flows.begin(), flows.end(), [&flow](const FLOW &known) {
                return known.from == flow.from && known.to == flow.to;
            })) {
            flows.push_back(flow);
        }
    }
    return flows;
}

bool HasPairs(const SETTINGS &experiment)
{
    const std::vector<FLOW> flows = DistinctFlows(experiment);
    return flows.size() == FLOW_NUM &&
           std::all_of(flows.begin(), flows.end(), [](const FLOW &flow) {
               return flow.from % 2 == 0 && flow.to == flow.from + 1;
           });
}

// A row for each trial, load and flow.
static FILE_FORM MakeFlowForm(const SETTINGS &experiment)
{
    FILE_FORM form{FLOW_FILE, {}, false, true};
    AddLines(form, TEXT,
             "load_kbps trial from to offered_mbps delivered_mbps delay_us retries drops refused");
    VisitPoints(experiment, [&](const THING &network) {
        for (const FLOW &flow : DistinctFlows(experiment)) {
            LINE &line = form.lines.emplace_back();
            for (const int number : {network.load_kbps, network.trial, flow.from, flow.to}) {
                Add(line, TEXT, std::to_string(number));
            }
            Add(line, {"flow", LinkName(flow.from, flow.to), network.trial, network.load_kbps},
                "<offered_load:Mbit/s> <throughput:Mbit/s> <delay:us> <#retries:frames>"
                " <#drops:packets> <#refused:packets>");
        }
    });
    return form;
}

bool IsSameExperiment(const SETTINGS &a, const SETTINGS &b)
{
    const auto description = [](SETTINGS experiment) {
        experiment.title[0] = '\0';
        experiment.seed = SEED_FROM_CLOCK;
        experiment.generator = GENERATOR_LCG;
        return SettingsAsJson(experiment, 0);
    };
    return a.window_ticks == b.window_ticks && description(a) == description(b);
}

const TREE_FORM &FormOf(const SETTINGS &experiment, bool has_flows)
{
    static std::list<TREE_FORM> made; // whose entries stay where they are
    for (const TREE_FORM &form : made) {
        if (form.has_flows == has_flows && IsSameExperiment(form.experiment, experiment)) {
            return form;
        }
    }
    made.push_back({experiment, has_flows, MakeForms(experiment)});
    if (has_flows) {
        made.back().files.push_back(MakeFlowForm(experiment));
    }
    return made.back();
}

std::string LoadText(int load_kbps)
{
    char text[32];
    std::snprintf(text, sizeof text, "%.10g", load_kbps / KBPS_PER_MBPS);
    return text;
}

const TREE_FORM &PublishedForm()
{
    static const TREE_FORM &form = FormOf({});
    return form;
}

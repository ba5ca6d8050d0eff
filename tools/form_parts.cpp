// Forms are written the way the files look: "<name:unit>" stands for a real number, "<#name:unit>"
// for an integer, any other word for itself. How many blanks and tabs part the words is left open.
#include "tools/form_parts.h"

#include <algorithm>
#include <cstdio>
#include <sstream>

#include "driver/constants.h"

std::vector<std::string_view> SplitWords(std::string_view line)
{
    constexpr std::string_view BLANKS = " \t()";
    std::vector<std::string_view> words;
    size_t begin = line.find_first_not_of(BLANKS);
    while (begin != std::string_view::npos) {
        const size_t end = std::min(line.find_first_of(BLANKS, begin), line.size());
        words.push_back(line.substr(begin, end - begin));
        begin = line.find_first_not_of(BLANKS, end);
    }
    return words;
}

std::vector<std::string_view> SplitCells(std::string_view line)
{
    std::vector<std::string_view> cells;
    size_t begin = 0;
    for (size_t end = line.find(','); end != std::string_view::npos; end = line.find(',', begin)) {
        cells.push_back(line.substr(begin, end - begin));
        begin = end + 1;
    }
    cells.push_back(line.substr(begin));
    return cells;
}

std::string Join(std::initializer_list<std::string_view> parts)
{
    std::string joined;
    for (std::string_view part : parts) {
        joined.append(part);
    }
    return joined;
}

static CELL MakeCell(std::string_view word, const THING &thing)
{
    CELL cell{std::string(word), "", "", nullptr, "", thing.trial, thing.load_kbps, false, false};
    if (word.front() != '<') {
        return cell;
    }
    const size_t end = word.find('>');
    std::string_view name = word.substr(1, end - 1);
    cell.is_value = true;
    cell.is_integer = name.front() == '#';
    name.remove_prefix(cell.is_integer ? 1 : 0);
    const size_t colon = name.find(':');
    cell.text = name.substr(0, colon);
    cell.unit = colon == std::string_view::npos ? "1" : name.substr(colon + 1);
    cell.suffix = word.substr(end + 1);
    cell.kind = thing.kind;
    cell.thing = thing.name;
    return cell;
}

void Add(LINE &line, const THING &thing, std::string_view text)
{
    for (std::string_view word : SplitWords(text)) {
        line.push_back(MakeCell(word, thing));
    }
}

std::string RealText(double number)
{
    char text[64];
    std::snprintf(text, sizeof text, "%f", number);
    return text;
}

void AddLines(FILE_FORM &form, const THING &thing, const std::string &text)
{
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) {
        Add(form.lines.emplace_back(), thing, line);
    }
}

THING Flow(int flow, int load_kbps)
{
    return {"flow", std::to_string(flow), TRIAL_MEAN, load_kbps};
}

THING Link(int sender, int receiver, int trial, int load_kbps)
{
    return {"link", LinkName(sender, receiver), trial, load_kbps};
}

void VisitLinks(const std::function<void(int, int)> &visit)
{
    for (int i = 0; i < NODE_NUM - 1; ++i) {
        visit(i, i + 1);
    }
    for (int i = NODE_NUM - 1; i > 0; --i) {
        visit(i, i - 1);
    }
}

std::string LabelText(LABEL label)
{
    std::string text = "Total Off Total Thr Off1 Thr1 Off2 Thr2";
    const int cells = label == LABEL_NODE ? NODE_RECORDS : NODE_NUM;
    for (int i = 0; i < cells; ++i) {
        const std::string number = std::to_string(i);
        const int next = label == LABEL_FORWARD ? i + 1 : i - 1;
        text +=
            label == LABEL_NODE ? " Node " + number : " " + number + " -> " + std::to_string(next);
    }
    return text;
}

void VisitPoints(const SETTINGS &experiment, const std::function<void(const THING &)> &add)
{
    for (int trial = 1; trial <= experiment.trial_num; ++trial) {
        for (int load = 0; load < experiment.load_num; ++load) {
            add({"network", "", trial, experiment.load_list[load]});
        }
    }
}

std::string AirtimeLines(const SETTINGS &experiment, int shown)
{
    const int bytes = PacketBytes(experiment);
    const std::string ack = std::to_string(ACK_TICKS);
    return "// packet_size = " + std::to_string(shown) + "\n// MH:" + ack +
           "\n// PAY:" + std::to_string(PayloadTicks(bytes)) +
           "\n// DAT:" + std::to_string(DataTicks(bytes)) + "\n// ACK:" + ack + "\n";
}

std::string ShareLine(const SETTINGS &experiment)
{
    const int bytes = PacketBytes(experiment);
    const double share = DataTicks(bytes) / static_cast<double>(ExchangeTicks(bytes));
    return "// a = " + RealText(share) + "\n";
}

void AddLeadingValues(LINE &line, int load_kbps)
{
    for (int flow = 0; flow < 3; ++flow) {
        Add(line, Flow(flow, load_kbps), "<offered_load:Mbit/s> <throughput:Mbit/s>");
    }
}

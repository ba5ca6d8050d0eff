// The first pass over an experiment file: a key that stands twice, nesting. The tree that the
// second one works on no longer shows them.
#include "tools/experiment_form.h"

#include <algorithm>
#include <set>
#include <string_view>
#include <vector>

using nlohmann::json;

// A text cut to a readable length.
static std::string Cut(std::string text, size_t longest = 60)
{
    if (text.size() > longest) {
        text.resize(longest);
        text += "...";
    }
    return text;
}

std::string Shown(const json &value)
{
    return Cut(value.dump(-1, ' ', true));
}

void Refuse(const std::string &path, const std::string &stands, const std::string &allowed)
{
    throw BAD_EXPERIMENT(path + ": " + stands + "; allowed: " + allowed);
}

void RefuseValue(const std::string &path, const json &value, const std::string &allowed)
{
    Refuse(path, "stands at " + Shown(value), allowed);
}

std::string At(const std::string &path, size_t index)
{
    return path + "[" + std::to_string(index) + "]";
}

class FORM_CHECK : public nlohmann::json_sax<json>
{
  public:
    bool start_object(size_t) override
    {
        Enter();
        return true;
    }
    bool key(string_t &name) override
    {
        LEVEL &level = levels.back();
        level.key = name;
        if (!level.keys.insert(name).second) {
            Refuse(Path(), "this key stands twice", "once");
        }
        return true;
    }
    bool end_object() override
    {
        levels.pop_back();
        return true;
    }
    bool start_array(size_t) override
    {
        Enter();
        return true;
    }
    bool end_array() override
    {
        levels.pop_back();
        return true;
    }
    bool null() override
    {
        return Count();
    }
    bool boolean(bool) override
    {
        return Count();
    }
    bool number_integer(number_integer_t) override
    {
        return Count();
    }
    bool number_unsigned(number_unsigned_t) override
    {
        return Count();
    }
    bool number_float(number_float_t, const string_t &) override
    {
        return Count();
    }
    bool string(string_t &) override
    {
        return Count();
    }
    bool binary(binary_t &) override
    {
        return Count();
    }
    bool parse_error(size_t position, const std::string &token,
                     const nlohmann::detail::exception &error) override
    {
        constexpr int NUMBER_OVERFLOW = 406;
        constexpr size_t LONGEST = 200; // the parser quotes what it has read last
        if (error.id == NUMBER_OVERFLOW) {
            Count();
            Refuse(Path(), "stands at " + Cut(token), "a number that is finite as a double");
        }
        // "[json.exception.parse_error.101] parse error at line 1, column 2: ..."
        std::string text = error.what();
        text.erase(0, std::min(text.find("line "), text.size()));
        std::replace_if(
            text.begin(), text.end(), [](char c) { return (c & 0x80) != 0; }, '?');
        throw BAD_EXPERIMENT(
            Path() + ": not JSON, " +
            (text.empty() ? "byte " + std::to_string(position) : Cut(text, LONGEST)));
    }

  private:
    struct LEVEL {
        std::string key; // of an object, read last
        std::set<std::string> keys;
        size_t values; // of a list, begun so far
    };
    std::vector<LEVEL> levels;

    // Counts the value that begins here; true, as the parser is to go on.
    bool Count()
    {
        if (!levels.empty()) {
            ++levels.back().values;
        }
        return true;
    }

    void Enter()
    {
        constexpr size_t DEEPEST = 3; // a place in the list of places
        Count();
        if (levels.size() == DEEPEST) {
            Refuse(Path(), "a list or object stands there, nested too deep", "3 levels at most");
        }
        levels.push_back({"", {}, 0});
    }

    [[nodiscard]] std::string Path() const
    {
        std::string path;
        for (const LEVEL &level : levels) {
            if (!level.keys.empty()) {
                path.append(path.empty() ? "" : ".").append(Plain(level.key));
            } else if (level.values > 0) {
                path = At(path, level.values - 1);
            }
        }
        return path.empty() ? "the file" : path;
    }

    // A key as it may stand in a message.
    static std::string Plain(const std::string &key)
    {
        const std::string shown = Shown(json(key));
        return shown.substr(1, shown.size() - 2);
    }
};

void CheckForm(const std::string &text)
{
    FORM_CHECK form;
    json::sax_parse(text, &form);
}

#include "common/arguments.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include "common/text.h"

namespace zelsr::examples {
namespace {

bool contains(const std::vector<std::string>& names, const std::string& name)
{
    return std::find(names.begin(), names.end(), name) != names.end();
}

template <class Number>
bool parse(const std::string& text, Number& value)
{
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size();
}

}  // namespace

Arguments::Arguments(const std::vector<std::string>& arguments, const std::vector<std::string>& with_value,
                     const std::vector<std::string>& flags)
{
    bool only_words = false;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::string& argument = arguments[i];
        if (only_words || !argument.starts_with("-") || argument == "-") {
            words_.push_back(argument);
            continue;
        }
        const std::size_t equals = argument.find('=');
        const std::string name = argument.substr(0, equals);
        if (argument == "--")
            only_words = true;
        else if (contains(flags, argument))
            options_.push_back({argument, ""});
        else if (!contains(with_value, name))
            throw WrongUse("unknown option " + argument);
        else if (equals != std::string::npos)
            options_.push_back({name, argument.substr(equals + 1)});
        else if (i + 1 < arguments.size())
            options_.push_back({name, arguments[++i]});
        else
            throw WrongUse(name + " needs a value");
    }
}

bool Arguments::flag(const std::string& name) const { return text(name).has_value(); }

std::optional<std::string> Arguments::text(const std::string& name) const
{
    const auto found = std::find_if(options_.rbegin(), options_.rend(),
                                    [&](const Option& option) { return option.name == name; });
    if (found == options_.rend()) return std::nullopt;
    return found->value;
}

int Arguments::whole(const std::string& name, int otherwise, int low, int high) const
{
    const std::optional<std::string> given = text(name);
    int value = otherwise;
    if (given && !(parse(*given, value) && value >= low && value <= high))
        throw WrongUse(name + " takes a whole number from " + std::to_string(low) + " to " + std::to_string(high) +
                       ", not '" + *given + "'");
    return value;
}

double Arguments::number(const std::string& name, double otherwise, double low, double high) const
{
    const std::optional<std::string> given = text(name);
    double value = otherwise;
    if (given && !(parse(*given, value) && value >= low && value <= high))
        throw WrongUse(name + " takes a number from " + shortest(low) + " to " + shortest(high) + ", not '" +
                       *given + "'");
    return value;
}

int Arguments::choice(const std::string& name, int otherwise, const std::vector<std::string>& choices) const
{
    const std::optional<std::string> given = text(name);
    if (!given) return otherwise;
    const auto found = std::find(choices.begin(), choices.end(), *given);
    if (found != choices.end()) return static_cast<int>(found - choices.begin());
    std::string all;
    for (const std::string& one : choices)
        all += (all.empty() ? "" : &one == &choices.back() ? " or " : ", ") + one;
    throw WrongUse(name + " takes " + all + ", not '" + *given + "'");
}

}  // namespace zelsr::examples

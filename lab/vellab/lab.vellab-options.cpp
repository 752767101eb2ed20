#include "lab.vellab-options.hpp"

#include <charconv>
#include <functional>
#include <map>
#include <stdexcept>

namespace Lab
{

namespace
{

double ParseNumber(const std::string& option, const std::string& text)
{
    double number = 0.0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || !(number > 0.0) || number > 1e6)
    {
        throw std::invalid_argument(option + " needs a number above 0 and at most 1000000, not \"" + text + "\"");
    }
    return number;
}

std::uint32_t ParseCount(const std::string& option, const std::string& text)
{
    constexpr std::uint32_t Most = 1000;
    std::uint32_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || number == 0 || number > Most)
    {
        throw std::invalid_argument(option + " needs a whole number from 1 to 1000, not \"" + text + "\"");
    }
    return number;
}

using Setter = std::function<void(Options&, const std::string& option, const std::string& value)>;

const std::map<std::string, Setter>& OptionsWithValue()
{
    static const std::map<std::string, Setter> s_setters = {
        {"--agent",
         [](Options& options, const std::string&, const std::string& value)
         {
             options.agent = value;
         }},
        {"--connector",
         [](Options& options, const std::string&, const std::string& value)
         {
             options.connector = value;
         }},
        {"--tools",
         [](Options& options, const std::string&, const std::string& value)
         {
             options.tools = value;
         }},
        {"--scenario",
         [](Options& options, const std::string&, const std::string& value)
         {
             options.scenario = value;
         }},
        {"--until",
         [](Options& options, const std::string&, const std::string& value)
         {
             options.until.push_back(value);
         }},
        {"--starts",
         [](Options& options, const std::string& option, const std::string& value)
         {
             options.starts = ParseCount(option, value);
         }},
        {"--results",
         [](Options& options, const std::string&, const std::string& value)
         {
             options.results = value;
         }},
        {"--server",
         [](Options& options, const std::string&, const std::string& value)
         {
             options.server = value;
             options.isServerGiven = true;
         }},
        {"--speed",
         [](Options& options, const std::string& option, const std::string& value)
         {
             options.speed = ParseNumber(option, value);
         }},
        {"--duration",
         [](Options& options, const std::string& option, const std::string& value)
         {
             constexpr double MsPerSecond = 1000.0;
             options.isDurationGiven = true;
             options.duration =
                 std::chrono::milliseconds(static_cast<std::int64_t>(ParseNumber(option, value) * MsPerSecond));
         }}};
    return s_setters;
}

bool SetFlag(Options& options, const std::string& argument)
{
    if (argument == "--keep")
    {
        options.duration.reset();
        options.isDurationGiven = true;
        return true;
    }
    if (argument == "--log")
    {
        options.wholeLog = true;
        return true;
    }
    if (argument == "--debug")
    {
        options.debug = true;
        return true;
    }
    return false;
}

} // namespace

Options ParseOptions(const std::vector<std::string>& arguments)
{
    Options options;
    for (std::size_t i = 0; i < arguments.size(); ++i)
    {
        if (SetFlag(options, arguments[i]))
        {
            continue;
        }
        const std::size_t equals = arguments[i].find('=');
        const std::string name = arguments[i].substr(0, equals);
        const auto setter = OptionsWithValue().find(name);
        if (setter == OptionsWithValue().end())
        {
            throw std::invalid_argument("\"" + arguments[i] + "\" is no option of vellab run");
        }
        if (equals == std::string::npos && i + 1 == arguments.size())
        {
            throw std::invalid_argument(name + " needs a value");
        }
        setter->second(options, name, equals == std::string::npos ? arguments[++i] : arguments[i].substr(equals + 1));
    }
    if (options.agent.empty() || options.results.empty())
    {
        throw std::invalid_argument("--agent and --results must be given");
    }
    return options;
}

std::string UsageText()
{
    return "vellab run --agent FILE --results FOLDER [options]\n"
           "    Lays out settings for the agent, makes its stop event, starts a cloud for it, starts it in a folder of\n"
           "    its own, shows live what happens, tells it to stop, and reports how it ended. Everything is kept in\n"
           "    FOLDER.\n"
           "  --connector FILE    the program that carries messages between agent and cloud; without it there is none\n"
           "  --tools FOLDER      where the laboratory's tools were built; they are put into bin/, and the system's curl\n"
           "  --scenario FILE     what is played: settings, the cloud's answers, faults and their times\n"
           "  --duration SECONDS  how long the agent runs before it is told to stop (25, or what the scenario says)\n"
           "  --keep              it runs until an interrupt instead\n"
           "  --until TEXT        it runs until its log says this, and the run has failed if it never does; given several\n"
           "                      times, these texts must come in this order\n"
           "  --starts N          starts it N times on the same settings, one after the other (1)\n"
           "  --server TEXT       what the settings name as the server (https://cloud.lab.example)\n"
           "  --speed X           the laboratory's agent lives X times faster (1)\n"
           "  --debug             starts the agent with -d, in which it makes its stop event itself\n"
           "  --log               shows the agent's whole log instead of its milestones\n"
           "vellab check FILE...\n"
           "    Reads scenario files and tells what is wrong with them.\n"
           "vellab keys\n"
           "    Tells everything that a scenario file may hold.\n";
}

} // namespace Lab

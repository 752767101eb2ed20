#include "shared.log-configuration.hpp"
#include "tools.shared-entry.hpp"
#include "tools.shared-printable.hpp"
#include "tools.velexplain-answers.hpp"
#include "tools.velexplain-explain.hpp"
#include "tools.velexplain-json.hpp"
#include "tools.velexplain-options.hpp"
#include "tools.velexplain-text.hpp"

#include <cstdint>
#include <exception>
#include <iostream>
#include <stdexcept>

namespace
{

using namespace Tools::VelExplain;

constexpr int Failed = 1;
constexpr int WrongUse = 2;

void Complain(const std::string& problem)
{
    std::cerr << "velexplain: " << Tools::Printable(problem) << '\n';
}

int Show(const Options& options)
{
    // What the agent's code logs of the answers is in the report; what else it logs is no news of them.
    Shared::Log::ConfigureLogging(
        static_cast<std::uint32_t>(Shared::Log::LoggerKind::Null), Shared::Log::Level::Off, "", 0, 0);
    const auto report = Explain(GatherAnswers(options), options);
    std::cout << (options.form == OutputForm::Json ? FormatJson(report) : FormatText(report)) << std::flush;
    if (!std::cout)
    {
        Complain("the report cannot be written");
        return Failed;
    }
    if (!report.contradictions.empty())
    {
        Complain("internal error: the agent's lists and its judgement disagree");
        return Failed;
    }
    return 0;
}

} // namespace

int Tools::Run(const std::vector<std::string>& arguments)
{
    Options options;
    try
    {
        options = ParseOptions(arguments);
    }
    catch (const std::invalid_argument& problem)
    {
        Complain(problem.what());
        std::cerr << '\n' << UsageText();
        return WrongUse;
    }
    if (options.help)
    {
        std::cout << UsageText();
        return 0;
    }
    try
    {
        return Show(options);
    }
    catch (const std::exception& problem)
    {
        Complain(problem.what());
        return Failed;
    }
}

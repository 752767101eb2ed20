#include "tools.velinventory-json.hpp"
#include "tools.velinventory-options.hpp"
#include "tools.velinventory-report.hpp"
#include "tools.velinventory-settings.hpp"
#include "tools.velinventory-text.hpp"

#include "agentcore.ops-startup.hpp"
#include "agentcore.system-systemquerier.hpp"
#include "shared.com-cominitialiser.hpp"
#include "shared.log-configuration.hpp"
#include "shared.time-clock.hpp"

#include <exception>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace
{

using namespace Tools::VelInventory;
using AgentCore::System::InventoryGaps;
using AgentCore::System::SystemQuerier;

constexpr int Failed = 1;
constexpr int WrongUse = 2;

void Append(InventoryGaps& gaps, const InventoryGaps& more)
{
    gaps.insert(gaps.end(), more.begin(), more.end());
}

/// This machine's querier; null, with the reason, when it has none.
std::shared_ptr<SystemQuerier> MakeQuerier(InventoryGaps& missing)
{
    try
    {
        return std::make_shared<SystemQuerier>();
    }
    catch (const std::exception& exception)
    {
        missing.push_back({"network, system", exception.what()});
        return nullptr;
    }
}

/// Asks the machine for everything. Its thread has initialised COM.
Report Gather()
{
    Report report;
    auto evaluated = EvaluateSettings();
    const auto querier = MakeQuerier(report.missing);
    report.startup = AgentCore::Ops::BuildStartup(
        evaluated.settings, Shared::Time::UtcNow(),
        [&querier] { return querier ? querier : throw std::runtime_error("no inventory"); });
    report.settings = std::move(evaluated.sections);
    Append(report.missing, querier ? querier->GetGaps() : InventoryGaps{});
    Append(report.missing, evaluated.missing);
    return report;
}

int Run(const Options& options)
{
    // Nothing but the report is to be read; what the log would say of failures, it says better.
    Shared::Log::ConfigureLogging(
        static_cast<std::uint32_t>(Shared::Log::LoggerKind::Null), Shared::Log::Level::Off, "", 0, 0);
    Shared::COM::ComInitialiser com;
    com.Initialise();
    const auto report = Gather();
    std::cout << (options.form == OutputForm::Json ? FormatJson(report, options.secrets)
                                                   : FormatText(report, options.secrets))
              << std::flush;
    if (!std::cout)
    {
        std::cerr << "velinventory: the report cannot be written\n";
        return Failed;
    }
    return 0;
}

} // namespace

int main(int argc, char** argv)
{
    Options options;
    try
    {
        options = ParseOptions(std::vector<std::string>(argv + 1, argv + argc));
    }
    catch (const std::invalid_argument& problem)
    {
        std::cerr << "velinventory: " << problem.what() << "\n\n" << UsageText();
        return WrongUse;
    }
    if (options.help)
    {
        std::cout << UsageText();
        return 0;
    }
    try
    {
        return Run(options);
    }
    catch (const std::exception& problem)
    {
        std::cerr << "velinventory: " << problem.what() << '\n';
        return Failed;
    }
}

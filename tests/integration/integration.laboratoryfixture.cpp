#include "integration.laboratoryfixture.hpp"

#include <fstream>

namespace Integration
{

Lab::Options LaboratoryTest::MakeOptions(const std::string& scenario, const std::vector<std::string>& until) const
{
    const std::filesystem::path file = Folder() / "scenario.json";
    std::ofstream(file) << scenario;
    Lab::Options options;
    options.agent = Program("lab/AgentProcessLab");
    options.connector = Program("lab/VELPortalProcess").replace_extension(".exe");
    options.scenario = file;
    options.results = Folder() / "results";
    options.speed = Speed;
    options.duration = LaboratoryLimit;
    options.isDurationGiven = true;
    options.until = until;
    return options;
}

Lab::Outcome LaboratoryTest::Run(const Lab::Options& options)
{
    return Lab::Supervise(options, m_timeline);
}

void LaboratoryTest::Play(const std::string& scenario, const std::vector<std::string>& until)
{
    const Lab::Outcome outcome = Run(MakeOptions(scenario, until));
    ASSERT_TRUE(Lab::IsGood(outcome)) << Timeline() << "\nthe agent's log:\n" << Log();
}

std::string LaboratoryTest::Timeline() const
{
    return m_timeline.str();
}

std::string LaboratoryTest::Log() const
{
    return ReadFile(Folder() / "results" / "agent" / "tarvane_vel_agent.log");
}

std::size_t LaboratoryTest::CountInLog(const std::string& text) const
{
    return CountIn(Log(), text);
}

std::size_t CountIn(const std::string& where, const std::string& text)
{
    std::size_t count = 0;
    for (std::size_t at = where.find(text); at != std::string::npos; at = where.find(text, at + text.size()))
    {
        ++count;
    }
    return count;
}

} // namespace Integration

#include "integration.measurement.linux.hpp"

#include "lab.json-functions.hpp"
#include "lab.tools-statistics.hpp"
#include "lab.tools-systemprogram.hpp"
#include "lab.vellab-childprocess.hpp"
#include "shared.concurrency-functions.hpp"
#include "shared.util-functions.hpp"

#include <algorithm>
#include <cmath>
#include <csignal>
#include <iostream>
#include <sstream>
#include <string_view>
#include <utility>

#include <fmt/format.h>
#include <gtest/gtest.h>

namespace Integration
{

namespace
{

namespace fs = std::filesystem;
using TestSupport::RoutedNetwork;

Station ReadStation(const rapidjson::Value& hop)
{
    const bool isOurs = hop.HasMember("LossPct");
    Station station;
    station.address = hop[isOurs ? "address" : "host"].GetString();
    station.lossPercent = hop[isOurs ? "LossPct" : "Loss%"].GetDouble();
    station.average = hop["Avg"].GetDouble();
    station.best = hop["Best"].GetDouble();
    station.deviation = hop["StDev"].GetDouble();
    station.answers =
        static_cast<std::uint32_t>(std::lround(hop["Snt"].GetInt() * (100.0 - station.lossPercent) / 100.0));
    return station;
}

} // namespace

std::string CommandLine(const Call& call)
{
    std::string line = call.program.filename().string();
    for (const std::string& argument : call.arguments)
    {
        const bool isPlain = argument.find_first_of(" %{}'") == std::string::npos;
        line += isPlain ? " " + argument : " '" + argument + "'";
    }
    return line;
}

ClientPrograms::ClientPrograms(const RoutedNetwork& network) : e_network(network)
{
}

Outcome ClientPrograms::Run(const Call& call)
{
    Outcome outcome;
    e_network.OnClient([&] { outcome = RunHere(call); });
    return outcome;
}

std::future<Outcome> ClientPrograms::Start(const Call& call)
{
    return std::async(std::launch::async, [this, call] { return Run(call); });
}

const fs::path& ClientPrograms::Folder() const
{
    return m_folder.Path();
}

Outcome ClientPrograms::RunHere(const Call& call)
{
    const std::string number = std::to_string(m_runs++);
    Lab::ChildRequest request;
    request.program = call.program;
    request.arguments = call.arguments;
    request.workingFolder = m_folder.Path();
    request.output = m_folder.Path() / ("output-" + number);
    request.errors = m_folder.Path() / ("errors-" + number);
    Lab::ChildProcess child(request);
    if (call.interrupt.count() > 0 &&
        !Shared::Concurrency::WaitFor(child.GetHandle(), static_cast<std::uint32_t>(call.interrupt.count())))
    {
        ::kill(-static_cast<pid_t>(child.GetId()), SIGINT);
    }
    constexpr std::uint32_t LimitMs = 50'000U * VEL_TIME_SCALE;
    EXPECT_TRUE(Shared::Concurrency::WaitFor(child.GetHandle(), LimitMs)) << call.program;
    Outcome outcome;
    outcome.exitCode = child.GetExitStatus().value_or(-1);
    outcome.output = TestSupport::ReadFile(request.output) + TestSupport::ReadFile(request.errors);
    return outcome;
}

fs::path LabProgram(const std::string& name)
{
    return fs::path(Shared::Util::GetCurrentExecutableDirectory()).parent_path().parent_path() / "lab" / name;
}

std::vector<Station> ReadStations(const std::string& output)
{
    std::vector<Station> stations;
    const rapidjson::Document document = Lab::Json::Parse(output);
    for (const auto& hop : document["report"]["hubs"].GetArray())
    {
        stations.push_back(ReadStation(hop));
    }
    return stations;
}

Call Fping(int count, int periodMs, int timeoutMs, const std::vector<std::string>& targets)
{
    Call call = {
        Lab::Tools::FindSystemProgram("fping"),
        {"-q", "-C", std::to_string(count), "-p", std::to_string(periodMs), "-t", std::to_string(timeoutMs)}};
    call.arguments.insert(call.arguments.end(), targets.begin(), targets.end());
    return call;
}

std::vector<Station> ReadFping(const std::string& output)
{
    std::vector<Station> stations;
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);)
    {
        std::istringstream words(line);
        std::string address;
        std::string word;
        words >> address >> word;
        std::uint32_t sent = 0;
        std::vector<double> times;
        for (; words >> word; ++sent)
        {
            // "-" is a loss.
            if (word != "-")
            {
                times.push_back(std::stod(word));
            }
        }
        stations.push_back(MakeStation(address, sent, times));
    }
    return stations;
}

std::vector<double> ReadTcpingTimes(const std::string& output)
{
    constexpr std::string_view Mark = "open - time=";
    std::vector<double> times;
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);)
    {
        if (const std::size_t at = line.find(Mark); at != std::string::npos)
        {
            times.push_back(std::stod(line.substr(at + Mark.size())));
        }
    }
    return times;
}

Station MakeStation(const std::string& address, std::uint32_t sent, const std::vector<double>& times)
{
    Lab::Tools::Statistics statistics;
    for (const double time : times)
    {
        statistics.Add(time);
    }
    Station station;
    station.address = address;
    station.lossPercent = Lab::Tools::LossPercent(sent, statistics.Count());
    station.average = statistics.Mean();
    station.best = statistics.Best();
    station.deviation = statistics.StandardDeviation();
    station.answers = statistics.Count();
    station.times = times;
    return station;
}

std::vector<std::string> AddressesOf(const std::vector<Station>& stations)
{
    std::vector<std::string> addresses;
    for (const Station& station : stations)
    {
        addresses.push_back(station.address);
    }
    return addresses;
}

std::vector<std::string> NetworkHops()
{
    return {RoutedNetwork::Hops.begin(), RoutedNetwork::Hops.end()};
}

void Show(const std::string& who, const std::vector<Station>& stations)
{
    for (const Station& station : stations)
    {
        std::cout << fmt::format(
            "    {:<12} {:<10} loss {:5.1f} %  best {:7.3f}  average {:7.3f}  deviation {:6.3f} ms\n", who,
            station.address, station.lossPercent, station.best, station.average, station.deviation);
    }
}

bool Comparison::Row::Holds() const
{
    return std::abs(left - right) <= limit;
}

Comparison::Comparison(std::string left, std::string right) : m_left(std::move(left)), m_right(std::move(right))
{
}

void Comparison::Note(const Call& call)
{
    m_commands.push_back(CommandLine(call));
}

void Comparison::Add(const std::string& what, double left, double right, double limit)
{
    m_rows.push_back({what, left, right, limit});
}

bool Comparison::HoldsAll() const
{
    return std::all_of(m_rows.begin(), m_rows.end(), [](const Row& row) { return row.Holds(); });
}

void Comparison::Show() const
{
    for (const std::string& command : m_commands)
    {
        std::cout << "    $ " << command << '\n';
    }
    std::cout << fmt::format("    {:<46} {:>11} {:>11} {:>11} {:>9}\n", "", m_left, m_right, "difference", "limit");
    for (const Row& row : m_rows)
    {
        std::cout << fmt::format(
            "    {:<46} {:>11.3f} {:>11.3f} {:>11.3f} {:>9.3f}{}\n", row.what, row.left, row.right,
            row.left - row.right, row.limit, row.Holds() ? "" : "  <-- beyond");
    }
}

void Comparison::Judge() const
{
    for (const Row& row : m_rows)
    {
        EXPECT_NEAR(row.left, row.right, row.limit) << row.what;
    }
}

void Compare(const Comparison& empty, int attempts, const std::function<void(Comparison& comparison)>& measure)
{
    for (int attempt = 1; attempt <= attempts; ++attempt)
    {
        Comparison comparison = empty;
        measure(comparison);
        comparison.Show();
        const bool isLast = attempt == attempts || ::testing::Test::HasFailure();
        if (isLast || comparison.HoldsAll())
        {
            comparison.Judge();
            return;
        }
    }
}

double Median(std::vector<double> values)
{
    if (values.empty())
    {
        return 0.0;
    }
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

double TimeLimit(double reference)
{
    constexpr double Least = 1.0;
    constexpr double Share = 0.05;
    return std::max(Least, Share * reference) * VEL_TIME_SCALE;
}

double AverageLimit(const Station& measured, const Station& reference)
{
    constexpr double StandardErrors = 4.0;
    const auto error = [](const Station& station)
    {
        return station.answers == 0 ? 0.0 : station.deviation / std::sqrt(station.answers);
    };
    return std::max(TimeLimit(reference.average), StandardErrors * std::hypot(error(measured), error(reference)));
}

} // namespace Integration

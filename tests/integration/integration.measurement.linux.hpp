#pragma once

#include "test.support-routednetwork.linux.hpp"
#include "test.support-temporaryfolder.hpp"

#include <array>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <future>
#include <string>
#include <vector>

namespace Integration
{

/// What a program said, and how it ended.
struct Outcome
{
    std::int32_t exitCode = -1;
    std::string output;
};

struct Call
{
    std::filesystem::path program;
    std::vector<std::string> arguments;
    /// After how long it is interrupted; 0 is never.
    std::chrono::milliseconds interrupt{0};
};

/// As it would be typed.
std::string CommandLine(const Call& call);

/// Runs programs on the client of a network.
class ClientPrograms
{
public:
    /// The network outlives it.
    explicit ClientPrograms(const TestSupport::RoutedNetwork& network);

    /// Runs a program to its end; fails the test when it does not end.
    Outcome Run(const Call& call);
    std::future<Outcome> Start(const Call& call);

    /// Of the test, in which the programs run.
    const std::filesystem::path& Folder() const;

private:
    Outcome RunHere(const Call& call);

    const TestSupport::RoutedNetwork& e_network;
    TestSupport::TemporaryFolder m_folder;
    std::atomic<int> m_runs = 0;
};

/// Three links of different delays, which lose nothing: 4, 14 and 24 ms to the hops and back.
inline constexpr std::array<TestSupport::LinkSettings, TestSupport::RoutedNetwork::Links> EvenLinks = {
    {{std::chrono::milliseconds(2), {}, 0.0},
     {std::chrono::milliseconds(5), {}, 0.0},
     {std::chrono::milliseconds(5), {}, 0.0}}};
inline constexpr std::array<double, TestSupport::RoutedNetwork::Links> EvenTimes = {4.0, 14.0, 24.0};

/// The addresses of the network's hops, from near to far.
std::vector<std::string> NetworkHops();

/// A program of the laboratory, where it was built.
std::filesystem::path LabProgram(const std::string& name);

/// A hop as a program tells of it. Times are in milliseconds.
struct Station
{
    std::string address;
    double lossPercent = 0.0;
    double average = 0.0;
    double best = 0.0;
    double deviation = 0.0;
    /// How many times are behind these.
    std::uint32_t answers = 0;
    /// These times, where the program tells each.
    std::vector<double> times;
};

/// The hops of a report of ours, or of Debian's program.
std::vector<Station> ReadStations(const std::string& output);

/// A run of fping that asks all hops of the network in turn, or other targets.
Call Fping(int count, int periodMs, int timeoutMs = 1000, const std::vector<std::string>& targets = NetworkHops());

/// Its targets.
std::vector<Station> ReadFping(const std::string& output);

/// The times in the lines of tcping that tell of an open port.
std::vector<double> ReadTcpingTimes(const std::string& output);

/// Figures of times, of which `sent` were asked for.
Station MakeStation(const std::string& address, std::uint32_t sent, const std::vector<double>& times);

std::vector<std::string> AddressesOf(const std::vector<Station>& stations);

void Show(const std::string& who, const std::vector<Station>& stations);

/// 0 of none.
double Median(std::vector<double> values);

/// Figures of one side beside those of another, to be looked at and judged.
class Comparison
{
public:
    Comparison(std::string left, std::string right);

    /// A program that made figures of the right side.
    void Note(const Call& call);
    /// @param limit by how much both may differ
    void Add(const std::string& what, double left, double right, double limit);

    bool HoldsAll() const;
    void Show() const;
    /// Fails the test for each pair that differs by more than it may.
    void Judge() const;

private:
    struct Row
    {
        std::string what;
        double left = 0.0;
        double right = 0.0;
        double limit = 0.0;

        bool Holds() const;
    };

    std::string m_left;
    std::string m_right;
    std::vector<std::string> m_commands;
    std::vector<Row> m_rows;
};

/// Measures and shows until all figures are within their limits, at most so many times, and judges the last ones. A machine
/// that stands still for a moment spoils one measurement, while a tool that is wrong is wrong each time. What no load can
/// change, `measure` judges itself.
void Compare(const Comparison& empty, int attempts, const std::function<void(Comparison& comparison)>& measure);

/// What two honest measurements of the same time may differ by: 1 ms or 5 %, whichever is more; more where a sanitizer slows
/// everything down.
double TimeLimit(double reference);

/// What two averages may differ by: that, or four times what they are worth by the spread of their times. One probe that a
/// busy machine held up is no fault of a tool.
double AverageLimit(const Station& measured, const Station& reference);

} // namespace Integration

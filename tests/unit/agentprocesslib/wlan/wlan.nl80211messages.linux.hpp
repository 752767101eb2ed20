#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>

/// Messages as the kernel's wireless subsystem sends them.
namespace Nl80211Messages
{

inline constexpr std::uint16_t Family = 34;

std::string Message(std::uint8_t command, const std::string& attributes, std::uint16_t type = Family);

/// The answer to the question for the family's number.
std::string FamilyFound();

std::string Interface(std::uint32_t index, const std::string& name, std::uint32_t type, std::uint32_t width);

struct Network
{
    std::array<std::uint8_t, 6> bssid{2, 0, 0, 0, 1, 0};
    /// Nothing for a network that is only in sight.
    std::optional<std::uint32_t> status;
    std::uint32_t frequency = 2437;
    std::string elements;
    std::optional<std::int32_t> signal;
    std::optional<std::uint8_t> signalShare;
};

std::string ScanResult(const Network& network);

/// One element as access points send it.
std::string Element(std::uint8_t number, const std::string& content);

/// A rate of that many hundreds of kilobits, with an attribute of its generation if there is one.
std::string Rate(std::uint16_t direction, std::uint32_t hundreds, std::optional<std::uint16_t> generation = {});

std::string Flags(std::uint32_t mask, std::uint32_t set);

std::string StationMessage(const std::array<std::uint8_t, 6>& address, const std::string& information);

} // namespace Nl80211Messages

#pragma once

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>

// The envelope in which the agent and its server exchange messages, encoded and decoded by the laboratory's own reading of
// the schema: nothing here comes from the code that the agent uses, so that a mistake of either side shows.

namespace Lab::Wire
{

/// Bits of an envelope's flags.
inline constexpr std::uint32_t FlagAcknowledgement = 1;
inline constexpr std::uint32_t FlagResponse = 4;
inline constexpr std::uint32_t FlagLz4 = 8;
inline constexpr std::uint32_t FlagAcknowledgementExpected = 1024;

/// Values of an envelope's status.
inline constexpr std::uint32_t StatusSuccess = 0;
inline constexpr std::uint32_t StatusUnreachable = 2;
inline constexpr std::uint32_t StatusPayloadNotDecoded = 6;

struct Signature
{
    std::uint64_t timestamp = 0;
    std::string fingerprint;
    std::string signature;
    std::uint32_t version = 0;

    bool operator==(const Signature&) const = default;
};

struct Envelope
{
    std::uint32_t seqNum = 0;
    std::uint32_t srcComp = 0;
    std::uint32_t dstComp = 0;
    std::uint32_t flags = 0;
    std::uint32_t status = 0;
    std::string srcEp;
    std::string dstEp;
    std::string payload;
    std::uint32_t cacheSrcEp = 0;
    std::uint32_t cacheDstEp = 0;
    std::string srcCompUuid;
    std::string dstCompUuid;
    std::uint32_t cacheSrcCompUuid = 0;
    std::uint32_t cacheDstCompUuid = 0;
    std::uint32_t msgId = 0;
    std::optional<Signature> signature;
    bool hasSeparatePayload = false;
    std::string broadcastName;

    bool operator==(const Envelope&) const = default;
};

/// Bytes are no envelope; what() says why and at which byte.
class EnvelopeError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// Fields in the order of their numbers; those that have their default value are left out. Texts are taken as they are.
std::string Encode(const Envelope& envelope);

/// Takes what every reader of the format takes: fields in any order, the last one of several, unknown ones dropped, known
/// ones of another wire type dropped as well. Throws EnvelopeError for what is cut off, malformed, or a text that is no
/// UTF-8.
Envelope Decode(std::string_view bytes);

} // namespace Lab::Wire

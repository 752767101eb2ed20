#include "lab.wire-envelope.hpp"

#include "lab.wire-reader.hpp"
#include "lab.wire-utf8.hpp"

#include <array>

#include <fmt/format.h>

namespace Lab::Wire
{

namespace
{

constexpr unsigned WireTypeBits = 3;

// The tables of fields: which member has which number. Bool fields are numbers on the wire; one that is not 0 is true.

struct NumberField
{
    std::uint32_t number;
    std::uint32_t Envelope::*member;
};

struct TextField
{
    std::uint32_t number;
    std::string Envelope::*member;
    bool isText;
};

constexpr std::array<NumberField, 10> NumberFields = {
    {{1, &Envelope::seqNum},
     {2, &Envelope::srcComp},
     {3, &Envelope::dstComp},
     {4, &Envelope::flags},
     {5, &Envelope::status},
     {9, &Envelope::cacheSrcEp},
     {10, &Envelope::cacheDstEp},
     {13, &Envelope::cacheSrcCompUuid},
     {14, &Envelope::cacheDstCompUuid},
     {15, &Envelope::msgId}}};

constexpr std::array<TextField, 6> TextFields = {
    {{6, &Envelope::srcEp, true},
     {7, &Envelope::dstEp, true},
     {8, &Envelope::payload, false},
     {11, &Envelope::srcCompUuid, true},
     {12, &Envelope::dstCompUuid, true},
     {18, &Envelope::broadcastName, true}}};

constexpr std::uint32_t SignatureField = 16;
constexpr std::uint32_t SeparatePayloadField = 17;
constexpr std::uint32_t LastField = 18;

namespace SignatureFields
{
constexpr std::uint32_t Timestamp = 1;
constexpr std::uint32_t Fingerprint = 2;
constexpr std::uint32_t Text = 3;
constexpr std::uint32_t Version = 4;
} // namespace SignatureFields

class Writer
{
public:
    void Number(std::uint32_t field, std::uint64_t value)
    {
        if (value != 0)
        {
            Tag(field, WireType::Varint);
            Varint(value);
        }
    }

    void Text(std::uint32_t field, std::string_view text)
    {
        if (!text.empty())
        {
            Block(field, text);
        }
    }

    /// One that is written even when it is empty.
    void Block(std::uint32_t field, std::string_view bytes)
    {
        Tag(field, WireType::Block);
        Varint(bytes.size());
        m_bytes += bytes;
    }

    std::string Take()
    {
        return std::move(m_bytes);
    }

private:
    void Tag(std::uint32_t field, WireType type)
    {
        Varint((field << WireTypeBits) | static_cast<std::uint32_t>(type));
    }

    void Varint(std::uint64_t value)
    {
        constexpr std::uint64_t More = 0x80;
        constexpr unsigned Bits = 7;
        while (value >= More)
        {
            m_bytes += static_cast<char>((value & (More - 1)) | More);
            value >>= Bits;
        }
        m_bytes += static_cast<char>(value);
    }

    std::string m_bytes;
};

std::string EncodeSignature(const Signature& signature)
{
    Writer writer;
    writer.Number(SignatureFields::Timestamp, signature.timestamp);
    writer.Text(SignatureFields::Fingerprint, signature.fingerprint);
    writer.Text(SignatureFields::Text, signature.signature);
    writer.Number(SignatureFields::Version, signature.version);
    return writer.Take();
}

void EncodeField(std::uint32_t field, const Envelope& envelope, Writer& writer)
{
    for (const NumberField& known : NumberFields)
    {
        if (known.number == field)
        {
            writer.Number(field, envelope.*known.member);
        }
    }
    for (const TextField& known : TextFields)
    {
        if (known.number == field)
        {
            writer.Text(field, envelope.*known.member);
        }
    }
    if (field == SignatureField && envelope.signature)
    {
        writer.Block(field, EncodeSignature(*envelope.signature));
    }
    if (field == SeparatePayloadField)
    {
        writer.Number(field, envelope.hasSeparatePayload ? 1 : 0);
    }
}

std::string TakeText(Reader& reader)
{
    const std::size_t at = reader.Position();
    const std::string_view text = reader.ReadBlock();
    if (!IsUtf8(text))
    {
        throw EnvelopeError(fmt::format("the text at byte {} is no UTF-8", at));
    }
    return std::string(text);
}

/// A nested message that comes twice is read into the same object again.
void DecodeSignature(Reader reader, Signature& signature)
{
    while (const std::optional<FieldTag> tag = reader.ReadTag())
    {
        if (*tag == FieldTag{SignatureFields::Timestamp, WireType::Varint})
        {
            signature.timestamp = reader.ReadVarint();
        }
        else if (*tag == FieldTag{SignatureFields::Fingerprint, WireType::Block})
        {
            signature.fingerprint = TakeText(reader);
        }
        else if (*tag == FieldTag{SignatureFields::Text, WireType::Block})
        {
            signature.signature = TakeText(reader);
        }
        else if (*tag == FieldTag{SignatureFields::Version, WireType::Varint})
        {
            signature.version = static_cast<std::uint32_t>(reader.ReadVarint());
        }
        else
        {
            reader.Skip(*tag);
        }
    }
}

bool DecodeNumber(const FieldTag& tag, Reader& reader, Envelope& envelope)
{
    if (tag.type != WireType::Varint)
    {
        return false;
    }
    if (tag.field == SeparatePayloadField)
    {
        envelope.hasSeparatePayload = reader.ReadVarint() != 0;
        return true;
    }
    for (const NumberField& known : NumberFields)
    {
        if (known.number == tag.field)
        {
            envelope.*known.member = static_cast<std::uint32_t>(reader.ReadVarint());
            return true;
        }
    }
    return false;
}

bool DecodeBlock(const FieldTag& tag, Reader& reader, Envelope& envelope)
{
    if (tag.type != WireType::Block)
    {
        return false;
    }
    if (tag.field == SignatureField)
    {
        if (!envelope.signature)
        {
            envelope.signature.emplace();
        }
        DecodeSignature(reader.ReadNested(), *envelope.signature);
        return true;
    }
    for (const TextField& known : TextFields)
    {
        if (known.number == tag.field)
        {
            envelope.*known.member = known.isText ? TakeText(reader) : std::string(reader.ReadBlock());
            return true;
        }
    }
    return false;
}

} // namespace

std::string Encode(const Envelope& envelope)
{
    Writer writer;
    for (std::uint32_t field = 1; field <= LastField; ++field)
    {
        EncodeField(field, envelope, writer);
    }
    return writer.Take();
}

Envelope Decode(std::string_view bytes)
{
    Envelope envelope;
    Reader reader(bytes);
    while (const std::optional<FieldTag> tag = reader.ReadTag())
    {
        if (!DecodeNumber(*tag, reader, envelope) && !DecodeBlock(*tag, reader, envelope))
        {
            reader.Skip(*tag);
        }
    }
    return envelope;
}

} // namespace Lab::Wire

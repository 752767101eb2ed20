#include "shared.json-rapidjsondocument.hpp"

#include <algorithm>
#include <charconv>
#include <new>
#include <optional>
#include <system_error>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <rapidjson/document.h>
#include <rapidjson/pointer.h>
#include <rapidjson/reader.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "shared.exception-exceptions.hpp"
#include "shared.util-utf8.hpp"

namespace Shared::Json
{

namespace
{

/// The library uses what it is given without a look.
class ThrowingAllocator
{
public:
    void* Malloc(std::size_t size)
    {
        return NotNull(m_allocator.Malloc(size), size);
    }

    void* Realloc(void* memory, std::size_t oldSize, std::size_t newSize)
    {
        return NotNull(m_allocator.Realloc(memory, oldSize, newSize), newSize);
    }

    static void Free(void* memory)
    {
        rapidjson::CrtAllocator::Free(memory);
    }

private:
    static void* NotNull(void* memory, std::size_t size)
    {
        if (memory == nullptr && size != 0)
        {
            throw std::bad_alloc();
        }
        return memory;
    }

    rapidjson::CrtAllocator m_allocator;
};

using Encoding = rapidjson::UTF8<>;
using Pool = rapidjson::MemoryPoolAllocator<ThrowingAllocator>;
using Document = rapidjson::GenericDocument<Encoding, Pool, ThrowingAllocator>;
using Value = Document::ValueType;
using Pointer = rapidjson::GenericPointer<Value, ThrowingAllocator>;
using Reader = rapidjson::GenericReader<Encoding, Encoding, ThrowingAllocator>;
using Buffer = rapidjson::GenericStringBuffer<Encoding, ThrowingAllocator>;
using Writer = rapidjson::Writer<Buffer, Encoding, Encoding, ThrowingAllocator>;

/// Nothing unless all of `text` is a number that fits.
template <typename Number>
std::optional<Number> Convert(std::string_view text)
{
    Number number{};
    const auto* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, number);
    return result.ptr == end && result.ec == std::errc() ? std::optional(number) : std::nullopt;
}

/// Passes the events of parsing on to a document. Two things the parser gets wrong are done here: it lets a low surrogate
/// pass that is escaped on its own, and makes some numbers beyond a double to any other number.
class Gate : public rapidjson::BaseReaderHandler<Encoding, Gate>
{
public:
    /// @param mayHoldSurrogates whether a string can have one at all
    Gate(Document& document, bool mayHoldSurrogates) : e_document(document), m_mayHoldSurrogates(mayHoldSurrogates)
    {
    }

    /// The events that are not named below: numbers that did not come as text.
    static bool Default()
    {
        return false;
    }

    bool Null()
    {
        return e_document.Null();
    }

    bool Bool(bool value)
    {
        return e_document.Bool(value);
    }

    bool RawNumber(const char* characters, rapidjson::SizeType size, bool /*copy*/)
    {
        const std::string_view text(characters, size);
        if (const auto integer = Convert<std::int64_t>(text))
        {
            return e_document.Int64(*integer);
        }
        if (const auto positive = Convert<std::uint64_t>(text))
        {
            return e_document.Uint64(*positive);
        }
        const auto real = Convert<double>(text);
        return real && e_document.Double(*real);
    }

    bool String(const char* text, rapidjson::SizeType size, bool copy)
    {
        return IsWellFormed({text, size}) && e_document.String(text, size, copy);
    }

    bool Key(const char* text, rapidjson::SizeType size, bool copy)
    {
        return IsWellFormed({text, size}) && e_document.Key(text, size, copy);
    }

    bool StartObject()
    {
        return e_document.StartObject();
    }

    bool EndObject(rapidjson::SizeType count)
    {
        return e_document.EndObject(count);
    }

    bool StartArray()
    {
        return e_document.StartArray();
    }

    bool EndArray(rapidjson::SizeType count)
    {
        return e_document.EndArray(count);
    }

private:
    bool IsWellFormed(std::string_view text) const
    {
        return !m_mayHoldSurrogates || Util::Utf8::IsValid(text);
    }

    Document& e_document;
    bool m_mayHoldSurrogates;
};

std::string_view WithoutByteOrderMark(std::string_view text)
{
    constexpr std::string_view ByteOrderMark = "\xEF\xBB\xBF";
    return text.starts_with(ByteOrderMark) ? text.substr(ByteOrderMark.size()) : text;
}

/// Whether there is an escaped surrogate anywhere: all that a text in UTF-8 can get one from. In steps that a compiler can
/// take many characters at a time: texts that are full of other escapes are common.
bool HoldsEscapedSurrogate(std::string_view text)
{
    constexpr std::size_t Step = 64;
    constexpr std::size_t Length = 3;
    const auto isAt = [](const char* at)
    {
        return (at[0] == '\\') & (at[1] == 'u') & ((at[2] == 'D') | (at[2] == 'd'));
    };
    const char* at = text.data();
    const char* const end = at + text.size();
    for (; end - at >= static_cast<std::ptrdiff_t>(Step + Length); at += Step)
    {
        int found = 0;
        for (std::size_t i = 0; i < Step; ++i)
        {
            found |= isAt(at + i);
        }
        if (found != 0)
        {
            return true;
        }
    }
    for (; end - at >= static_cast<std::ptrdiff_t>(Length); ++at)
    {
        if (isAt(at) != 0)
        {
            return true;
        }
    }
    return false;
}

/// Parses `size` bytes that a null character ends, and that the document's strings stay in from then on: nothing is copied
/// once more.
bool ParseInPlace(Document& document, char* text, std::size_t size)
{
    constexpr unsigned Flags =
        rapidjson::kParseInsituFlag | rapidjson::kParseIterativeFlag | rapidjson::kParseNumbersAsStringsFlag;
    // The parser's own check of the encoding looks at each byte by a table, and slows everything else down.
    if (!Util::Utf8::IsValid({text, size}))
    {
        return false;
    }
    Gate gate(document, HoldsEscapedSurrogate({text, size}));
    rapidjson::InsituStringStream stream(text);
    bool isJson = false;
    auto parse = [&](Document& /*document*/)
    {
        Reader reader;
        // A null character ends the stream for the parser.
        isJson = !reader.Parse<Flags>(stream, gate).IsError() && stream.Tell() == size;
        return isJson;
    };
    document.Populate(parse);
    return isJson;
}

/// Tells a handler all of a value, as Value::Accept() does, without going down the stack at each level. No handler here
/// has a reason to refuse.
template <typename Handler>
class Walk
{
public:
    explicit Walk(Handler& handler) : e_handler(handler)
    {
    }

    void Run(const Value& root)
    {
        Enter(root);
        while (!m_open.empty())
        {
            auto& level = m_open.back();
            if (level.next == level.size)
            {
                Leave();
            }
            else if (level.container->IsObject())
            {
                const auto& member = level.container->MemberBegin()[level.next++];
                e_handler.Key(member.name.GetString(), member.name.GetStringLength(), true);
                Enter(member.value);
            }
            else
            {
                Enter(level.container->Begin()[level.next++]);
            }
        }
    }

private:
    struct Level
    {
        const Value* container;
        rapidjson::SizeType size;
        rapidjson::SizeType next;
    };

    void Enter(const Value& value)
    {
        if (value.IsObject())
        {
            e_handler.StartObject();
            m_open.push_back({&value, value.MemberCount(), 0});
        }
        else if (value.IsArray())
        {
            e_handler.StartArray();
            m_open.push_back({&value, value.Size(), 0});
        }
        else if (value.IsString())
        {
            // Accept() would have the handler keep a look at a text that goes with this document.
            e_handler.String(value.GetString(), value.GetStringLength(), true);
        }
        else
        {
            value.Accept(e_handler);
        }
    }

    void Leave()
    {
        const auto level = m_open.back();
        m_open.pop_back();
        if (level.container->IsObject())
        {
            e_handler.EndObject(level.size);
        }
        else
        {
            e_handler.EndArray(level.size);
        }
    }

    Handler& e_handler;
    std::vector<Level> m_open;
};

std::string WriteText(const Value& value)
{
    Buffer buffer;
    Writer writer(buffer);
    Walk<Writer>(writer).Run(value);
    return {buffer.GetString(), buffer.GetSize()};
}

Pointer GetPointerByPath(std::string_view path)
{
    if (path.empty())
    {
        throw Exception::RuntimeException("GetOptionalValueByPath() requires a non-empty path");
    }
    const auto text = path.starts_with('/') ? std::string(path) : fmt::format("/{}", path);
    Pointer pointer(text.data(), text.size());
    if (!pointer.IsValid())
    {
        throw Exception::RuntimeException(fmt::format("RapidJSON pointer is not valid for path {}", path));
    }
    return pointer;
}

std::string_view TextOf(const Value& text)
{
    return {text.GetString(), text.GetStringLength()};
}

const Value* AsValue(const void* value)
{
    return static_cast<const Value*>(value);
}

} // namespace

RapidJsonValue::RapidJsonValue(const void* value) noexcept : e_value(value)
{
}

bool RapidJsonValue::HasValue() const noexcept
{
    return e_value != nullptr;
}

bool RapidJsonValue::IsNull() const noexcept
{
    return HasValue() && AsValue(e_value)->IsNull();
}

bool RapidJsonValue::IsObject() const noexcept
{
    return HasValue() && AsValue(e_value)->IsObject();
}

bool RapidJsonValue::IsArray() const noexcept
{
    return HasValue() && AsValue(e_value)->IsArray();
}

Util::Nullable<bool> RapidJsonValue::GetBool() const
{
    if (HasValue() && AsValue(e_value)->IsBool())
    {
        return AsValue(e_value)->GetBool();
    }
    return {};
}

Util::Nullable<std::int32_t> RapidJsonValue::GetInt32() const
{
    if (HasValue() && AsValue(e_value)->IsInt())
    {
        return AsValue(e_value)->GetInt();
    }
    return {};
}

Util::Nullable<std::uint32_t> RapidJsonValue::GetUint32() const
{
    if (HasValue() && AsValue(e_value)->IsUint())
    {
        return AsValue(e_value)->GetUint();
    }
    return {};
}

Util::Nullable<std::int64_t> RapidJsonValue::GetInt64() const
{
    if (HasValue() && AsValue(e_value)->IsInt64())
    {
        return AsValue(e_value)->GetInt64();
    }
    return {};
}

Util::Nullable<std::uint64_t> RapidJsonValue::GetUint64() const
{
    if (HasValue() && AsValue(e_value)->IsUint64())
    {
        return AsValue(e_value)->GetUint64();
    }
    return {};
}

Util::Nullable<double> RapidJsonValue::GetDouble() const
{
    if (HasValue() && AsValue(e_value)->IsNumber())
    {
        return AsValue(e_value)->GetDouble();
    }
    return {};
}

Util::Nullable<std::string> RapidJsonValue::GetString() const
{
    const auto text = GetStringView();
    return text.HasValue() ? Util::Nullable<std::string>(std::string(text.GetValue())) : Util::Nullable<std::string>();
}

Util::Nullable<std::string_view> RapidJsonValue::GetStringView() const
{
    if (HasValue() && AsValue(e_value)->IsString())
    {
        return TextOf(*AsValue(e_value));
    }
    return {};
}

RapidJsonMembers RapidJsonValue::GetMembers() const
{
    if (IsObject() && !AsValue(e_value)->ObjectEmpty())
    {
        return {&*AsValue(e_value)->MemberBegin(), AsValue(e_value)->MemberCount()};
    }
    return {};
}

RapidJsonElements RapidJsonValue::GetElements() const
{
    if (IsArray())
    {
        return {AsValue(e_value)->Begin(), AsValue(e_value)->Size()};
    }
    return {};
}

RapidJsonValue RapidJsonValue::GetMember(std::string_view name) const noexcept
{
    if (IsObject())
    {
        for (const auto& member : AsValue(e_value)->GetObject())
        {
            if (TextOf(member.name) == name)
            {
                return RapidJsonValue(&member.value);
            }
        }
    }
    return {};
}

template <>
RapidJsonMember RapidJsonMembers::At(const void* items, std::size_t index)
{
    const auto& member = static_cast<const Value::Member*>(items)[index];
    return {TextOf(member.name), RapidJsonValue(&member.value)};
}

template <>
RapidJsonValue RapidJsonElements::At(const void* items, std::size_t index)
{
    return RapidJsonValue(&static_cast<const Value*>(items)[index]);
}

RapidJsonValue RapidJsonValue::GetOptionalValueByPath(std::string_view path) const
{
    const auto pointer = GetPointerByPath(path);
    return HasValue() ? RapidJsonValue(pointer.Get(*AsValue(e_value))) : RapidJsonValue();
}

std::string RapidJsonValue::GetJsonText() const
{
    return HasValue() ? WriteText(*AsValue(e_value)) : std::string();
}

std::string RapidJsonValue::GetJsonTextByPath(std::string_view path) const
{
    return GetOptionalValueByPath(path).GetJsonText();
}

struct RapidJsonDocument::Tree
{
    Tree() : document(&pool)
    {
    }

    explicit Tree(std::string_view json)
        : text(std::make_unique_for_overwrite<char[]>(json.size() + 1)),
          pool(std::max(SmallestChunk, json.size() / 2)),
          document(&pool)
    {
        json.copy(text.get(), json.size());
        text[json.size()] = '\0';
    }

    static constexpr std::size_t SmallestChunk = std::size_t{64} * 1024;

    /// Parsed in place: the strings of the document point into it.
    std::unique_ptr<char[]> text;
    Pool pool;
    Document document;

    /// Makes `value` the last member of the root and the only one of its name.
    void Add(std::string_view name, Value& value)
    {
        Value key(name.data(), static_cast<rapidjson::SizeType>(name.size()), document.GetAllocator());
        for (auto member = document.MemberBegin(); member != document.MemberEnd();)
        {
            member = member->name == key ? document.EraseMember(member) : member + 1;
        }
        document.AddMember(key, value, document.GetAllocator());
    }
};

RapidJsonDocument::RapidJsonDocument() : m_tree(std::make_unique<Tree>())
{
    m_tree->document.SetObject();
}

RapidJsonDocument::RapidJsonDocument(std::string_view text)
{
    const auto json = WithoutByteOrderMark(text);
    m_tree = std::make_unique<Tree>(json);
    if (!ParseInPlace(m_tree->document, m_tree->text.get(), json.size()))
    {
        throw Exception::RuntimeException(fmt::format("rapidJSON encountered a parse error on string ==> {}", text));
    }
}

RapidJsonDocument::RapidJsonDocument(const char* text)
    : RapidJsonDocument(text == nullptr ? std::string_view() : std::string_view(text))
{
}

RapidJsonDocument::RapidJsonDocument(RapidJsonDocument&& other) noexcept = default;
RapidJsonDocument& RapidJsonDocument::operator=(RapidJsonDocument&& other) noexcept = default;
RapidJsonDocument::~RapidJsonDocument() = default;

void RapidJsonDocument::Add(std::string_view name, std::string_view value)
{
    if (!m_tree->document.IsObject() || !Util::Utf8::IsValid(name) || !Util::Utf8::IsValid(value))
    {
        throw Exception::RuntimeException(fmt::format("rapidJSON encountered a parse error adding member: {}", name));
    }
    Value copy(value.data(), static_cast<rapidjson::SizeType>(value.size()), m_tree->document.GetAllocator());
    m_tree->Add(name, copy);
}

void RapidJsonDocument::Add(std::string_view name, const RapidJsonDocument& value)
{
    if (!m_tree->document.IsObject() || !Util::Utf8::IsValid(name))
    {
        throw Exception::RuntimeException(fmt::format("rapidJSON encountered a parse error adding member: {}", name));
    }
    Document copy(&m_tree->document.GetAllocator());
    auto walk = [&value](Document& target)
    {
        Walk<Document>(target).Run(value.m_tree->document);
        return true;
    };
    copy.Populate(walk);
    m_tree->Add(name, copy);
}

RapidJsonValue RapidJsonDocument::GetRoot() const noexcept
{
    return RapidJsonValue(static_cast<const Value*>(&m_tree->document));
}

RapidJsonValue RapidJsonDocument::GetOptionalValueByPath(std::string_view path) const
{
    return GetRoot().GetOptionalValueByPath(path);
}

std::string RapidJsonDocument::GetJsonTextByPath(std::string_view path) const
{
    return GetRoot().GetJsonTextByPath(path);
}

std::string RapidJsonDocument::GetJsonText() const
{
    return GetRoot().GetJsonText();
}

} // namespace Shared::Json

// Any text as a document. A strict reader of our own, one character after the other, has to agree with what is accepted
// and with every value in it; what was read is written, read, copied and looked up again.
//   First byte: how many of the following bytes are a path. The rest is the text.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz.require.hpp"
#include "shared.json-rapidjsondocument.hpp"
#include "shared.util-utf8.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace
{

using Fuzz::Require;
using Shared::Json::RapidJsonDocument;
using Shared::Json::RapidJsonValue;

class NoJson : public std::exception
{
};

/// Reads a text by the grammar of RFC 8259 and compares it with a document on the way; with nothing when it only has to
/// tell whether it is one. Throws NoJson.
class SlowReader
{
public:
    explicit SlowReader(std::string_view text) : m_text(text)
    {
        if (m_text.starts_with("\xEF\xBB\xBF"))
        {
            m_text.remove_prefix(3);
        }
    }

    void ReadAll(const RapidJsonValue* value)
    {
        SkipSpace();
        Read(value, 0);
        SkipSpace();
        Expect(m_at == m_text.size());
    }

    /// Whether a number may be refused although a double holds it: zero with an exponent that no other number could
    /// have, and whole numbers of more than 300 digits.
    bool SawDoubtfulNumber() const
    {
        return m_sawDoubtfulNumber;
    }

private:
    /// This reader goes down the stack, the tested one does not.
    static constexpr int MostLevels = 2'000;

    static void Expect(bool holds)
    {
        if (!holds)
        {
            throw NoJson();
        }
    }

    char Peek() const
    {
        return m_at < m_text.size() ? m_text[m_at] : '\0';
    }

    char Take()
    {
        Expect(m_at < m_text.size());
        return m_text[m_at++];
    }

    bool TakeIf(char expected)
    {
        const bool is = m_at < m_text.size() && m_text[m_at] == expected;
        m_at += is ? 1 : 0;
        return is;
    }

    void SkipSpace()
    {
        while (TakeIf(' ') || TakeIf('\t') || TakeIf('\n') || TakeIf('\r'))
        {
        }
    }

    void Read(const RapidJsonValue* value, int level)
    {
        Require(level < MostLevels);
        switch (Peek())
        {
        case '{':
            ReadObject(value, level);
            break;
        case '[':
            ReadArray(value, level);
            break;
        case '"':
        {
            const auto text = ReadString();
            Require(value == nullptr || value->GetString().GetValue() == text);
            break;
        }
        case 't':
            ReadWord("true");
            Require(value == nullptr || value->GetBool().GetValue());
            break;
        case 'f':
            ReadWord("false");
            Require(value == nullptr || !value->GetBool().GetValue());
            break;
        case 'n':
            ReadWord("null");
            Require(value == nullptr || value->IsNull());
            break;
        default:
            ReadNumber(value);
        }
    }

    void ReadWord(std::string_view word)
    {
        Expect(m_text.substr(m_at).starts_with(word));
        m_at += word.size();
    }

    void ReadObject(const RapidJsonValue* value, int level)
    {
        const auto members = value == nullptr ? Shared::Json::RapidJsonMembers() : value->GetMembers();
        Require(value == nullptr || value->IsObject());
        Take();
        SkipSpace();
        std::size_t count = 0;
        if (!TakeIf('}'))
        {
            do
            {
                SkipSpace();
                const auto name = ReadString();
                SkipSpace();
                Expect(TakeIf(':'));
                SkipSpace();
                Require(value == nullptr || (count < members.size() && members[count].name == name));
                const auto inner = value == nullptr ? RapidJsonValue() : members[count].value;
                Read(value == nullptr ? nullptr : &inner, level + 1);
                ++count;
                SkipSpace();
            } while (TakeIf(','));
            Expect(TakeIf('}'));
        }
        Require(value == nullptr || count == members.size());
    }

    void ReadArray(const RapidJsonValue* value, int level)
    {
        const auto elements = value == nullptr ? Shared::Json::RapidJsonElements() : value->GetElements();
        Require(value == nullptr || value->IsArray());
        Take();
        SkipSpace();
        std::size_t count = 0;
        if (!TakeIf(']'))
        {
            do
            {
                SkipSpace();
                Require(value == nullptr || count < elements.size());
                const auto inner = value == nullptr ? RapidJsonValue() : elements[count];
                Read(value == nullptr ? nullptr : &inner, level + 1);
                ++count;
                SkipSpace();
            } while (TakeIf(','));
            Expect(TakeIf(']'));
        }
        Require(value == nullptr || count == elements.size());
    }

    std::string ReadString()
    {
        Expect(TakeIf('"'));
        std::string text;
        for (char next = Take(); next != '"'; next = Take())
        {
            Expect(static_cast<unsigned char>(next) >= 0x20);
            if (next == '\\')
            {
                ReadEscape(text);
            }
            else
            {
                text.push_back(next);
            }
        }
        Expect(Shared::Util::Utf8::DropInvalid(text) == text);
        return text;
    }

    void ReadEscape(std::string& text)
    {
        constexpr std::string_view Letters = "\"\\/bfnrt";
        constexpr std::string_view Meanings = "\"\\/\b\f\n\r\t";
        const char letter = Take();
        if (const auto known = Letters.find(letter); known != std::string_view::npos)
        {
            text.push_back(Meanings[known]);
            return;
        }
        Expect(letter == 'u');
        std::uint32_t code = ReadHex();
        if (code >= 0xD800 && code < 0xDC00)
        {
            Expect(TakeIf('\\') && TakeIf('u'));
            const auto low = ReadHex();
            Expect(low >= 0xDC00 && low < 0xE000);
            code = 0x10000 + ((code - 0xD800) << 10) + (low - 0xDC00);
        }
        Expect(code < 0xD800 || code >= 0xE000);
        AppendUtf8(text, code);
    }

    std::uint32_t ReadHex()
    {
        constexpr std::string_view Digits = "0123456789abcdef0123456789ABCDEF";
        std::uint32_t code = 0;
        for (int i = 0; i < 4; ++i)
        {
            const auto digit = Digits.find(Take());
            Expect(digit != std::string_view::npos);
            code = code * 16 + static_cast<std::uint32_t>(digit % 16);
        }
        return code;
    }

    static void AppendUtf8(std::string& text, std::uint32_t code)
    {
        const auto more = [&text, code](int shift)
        {
            text.push_back(static_cast<char>(0x80 | (code >> shift & 0x3F)));
        };
        if (code < 0x80)
        {
            text.push_back(static_cast<char>(code));
        }
        else if (code < 0x800)
        {
            text.push_back(static_cast<char>(0xC0 | code >> 6));
            more(0);
        }
        else if (code < 0x10000)
        {
            text.push_back(static_cast<char>(0xE0 | code >> 12));
            more(6);
            more(0);
        }
        else
        {
            text.push_back(static_cast<char>(0xF0 | code >> 18));
            more(12);
            more(6);
            more(0);
        }
    }

    bool ReadDigits()
    {
        const auto start = m_at;
        while (Peek() >= '0' && Peek() <= '9')
        {
            ++m_at;
        }
        return m_at > start;
    }

    void ReadNumber(const RapidJsonValue* value)
    {
        const auto start = m_at;
        TakeIf('-');
        Expect(TakeIf('0') || ReadDigits());
        bool isInteger = true;
        if (TakeIf('.'))
        {
            isInteger = false;
            Expect(ReadDigits());
        }
        const auto significand = m_text.substr(start, m_at - start);
        bool isLarge = false;
        if (TakeIf('e') || TakeIf('E'))
        {
            isInteger = false;
            isLarge = Peek() != '-';
            (void)(TakeIf('+') || TakeIf('-'));
            Expect(ReadDigits());
        }
        const std::string text(m_text.substr(start, m_at - start));
        const double number = std::strtod(text.c_str(), nullptr);
        const bool isZero = significand.find_first_of("123456789") == std::string_view::npos;
        Expect(std::isfinite(number) && (number == 0.0) == isZero);
        m_sawDoubtfulNumber |= (isLarge && isZero) || significand.size() > 300;
        if (value != nullptr)
        {
            Require(value->GetDouble().GetValue() == number);
            CheckInteger(*value, text, isInteger);
        }
    }

    static void CheckInteger(const RapidJsonValue& value, const std::string& text, bool isInteger)
    {
        const auto large = value.GetInt64();
        const auto positive = value.GetUint64();
        Require(isInteger || (!large.HasValue() && !positive.HasValue()));
        Require(!large.HasValue() || text == "-0" || std::to_string(large.GetValue()) == text);
        Require(!positive.HasValue() || text == "-0" || std::to_string(positive.GetValue()) == text);
        // Every integer of up to 18 digits fits.
        Require(!isInteger || text.size() > 18 || large.HasValue());
        Require(
            value.GetInt32().HasValue() == (large.HasValue() && large.GetValue() == std::int32_t(large.GetValue())));
        Require(
            value.GetUint32().HasValue() ==
            (positive.HasValue() && positive.GetValue() == std::uint32_t(positive.GetValue())));
    }

    std::string_view m_text;
    std::size_t m_at = 0;
    bool m_sawDoubtfulNumber = false;
};

std::unique_ptr<RapidJsonDocument> Parse(std::string_view text)
{
    try
    {
        return std::make_unique<RapidJsonDocument>(text);
    }
    catch (const std::runtime_error& exception)
    {
        const std::string_view what = exception.what();
        // what() ends at the first null character.
        Require(what.ends_with(
            std::string("rapidJSON encountered a parse error on string ==> ").append(text.substr(0, text.find('\0')))));
        return nullptr;
    }
}

/// Whether `text` nests no deeper than the slow reader can follow.
bool IsFlat(std::string_view text)
{
    return std::count_if(text.begin(), text.end(), [](char each) { return each == '[' || each == '{'; }) < 1'000;
}

void CheckAgreement(std::string_view text, const RapidJsonDocument* document)
{
    SlowReader reader(text);
    if (document != nullptr)
    {
        const auto root = document->GetRoot();
        try
        {
            reader.ReadAll(&root);
        }
        catch (const NoJson&)
        {
            Require(false);
        }
        return;
    }
    try
    {
        reader.ReadAll(nullptr);
        Require(reader.SawDoubtfulNumber());
    }
    catch (const NoJson&)
    {
    }
}

void CheckWriting(const RapidJsonDocument& document)
{
    const auto text = document.GetJsonText();
    const RapidJsonDocument again(text);
    Require(again.GetJsonText() == text);

    RapidJsonDocument holder;
    holder.Add("a", document);
    holder.Add("b", "\"");
    holder.Add("a", document);
    Require(holder.GetJsonText() == R"({"b":"\"","a":)" + text + "}");
    Require(holder.GetJsonTextByPath("a") == text);
}

/// The value that a path names, found by name and index step by step; nothing for a path that is none.
std::optional<RapidJsonValue> FindSlowly(RapidJsonValue value, std::string_view path)
{
    std::vector<std::string> names;
    for (std::size_t i = 0; i < path.size(); ++i)
    {
        if (path[i] == '/')
        {
            names.emplace_back();
        }
        else if (path[i] == '~')
        {
            if (i + 1 == path.size() || (path[i + 1] != '0' && path[i + 1] != '1'))
            {
                return std::nullopt;
            }
            names.back().push_back(path[++i] == '0' ? '~' : '/');
        }
        else
        {
            names.back().push_back(path[i]);
        }
    }
    for (const auto& name : names)
    {
        RapidJsonValue next;
        const auto members = value.GetMembers();
        const auto member = std::find_if(
            members.begin(), members.end(),
            [&](const auto& each) { return each.name == name.substr(0, name.find('\0')); });
        const auto elements = value.GetElements();
        for (std::size_t i = 0; i < elements.size(); ++i)
        {
            next = std::to_string(i) == name ? elements[i] : next;
        }
        value = member != members.end() ? (*member).value : next;
    }
    return value;
}

void CheckPath(const RapidJsonDocument& document, std::string_view path)
{
    if (path.empty())
    {
        return;
    }
    const auto expected =
        FindSlowly(document.GetRoot(), path.front() == '/' ? std::string(path) : std::string("/").append(path));
    try
    {
        const auto found = document.GetOptionalValueByPath(path);
        Require(expected.has_value() && found.HasValue() == expected->HasValue());
        Require(found.GetJsonText() == expected->GetJsonText());
        Require(document.GetJsonTextByPath(path) == expected->GetJsonText());
    }
    catch (const std::runtime_error&)
    {
        Require(!expected.has_value());
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0)
    {
        return 0;
    }
    const std::string all(reinterpret_cast<const char*>(data) + 1, size - 1);
    const auto path = std::string_view(all).substr(0, data[0]);
    const auto text = std::string_view(all).substr(path.size());

    const auto document = Parse(text);
    if (IsFlat(text))
    {
        CheckAgreement(text, document.get());
    }
    if (document != nullptr)
    {
        CheckWriting(*document);
        CheckPath(*document, path);
    }
    return 0;
}

#include "shared.exception-sourcelocation.hpp"

#include <algorithm>
#include <array>
#include <cstddef>

namespace Shared::Exception
{

namespace
{

/// Longest first, so that the first one that fits is the one that is meant.
constexpr std::array<std::string_view, 39> OperatorSymbols = {
    "<=>", "->*", "<<=", ">>=", "()", "[]", "<<", ">>", "->", "++", "--", "==", "!=",
    "<=",  ">=",  "&&",  "||",  "+=", "-=", "*=", "/=", "%=", "^=", "&=", "|=", "+",
    "-",   "*",   "/",   "%",   "^",  "&",  "|",  "~",  "!",  "=",  "<",  ">",  ","};

/// What looks like a function in a return type or behind a parameter list.
constexpr std::array<std::string_view, 5> WordsWithParenthesis = {
    "decltype", "noexcept", "requires", "__attribute__", "alignas"};

bool IsNameCharacter(char c) noexcept
{
    // Bytes above ASCII are parts of letters, which names may have.
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '$' ||
        static_cast<unsigned char>(c) >= 0x80;
}

/// Reads a signature from left to right. What stands in brackets of any kind is passed over as a whole; what is left
/// is a return type, the qualified name with its parameter list, and, for what is local to a function, more names and
/// lists behind it.
class SignatureReader
{
public:
    explicit SignatureReader(std::string_view signature) noexcept : m_text(signature)
    {
    }

    std::string_view Read() noexcept
    {
        while (m_at < m_text.size() && !m_done)
        {
            ReadNext();
        }
        if (!m_function.empty())
        {
            return m_function;
        }
        // A bare name has no parameters, and nothing around it.
        return m_sawSpace || m_name.empty() ? m_text : m_name;
    }

private:
    void ReadNext() noexcept
    {
        const char c = m_text[m_at];
        if (IsNameCharacter(c) || c == '~')
        {
            ReadWord();
        }
        else if (c == '(')
        {
            ReadParenthesis();
        }
        else if (c == '<' || c == '{' || c == '[')
        {
            ReadBracket(c);
        }
        else if (c == ')')
        {
            // The end of a declarator in parentheses: its name is known by now or never will be.
            m_done = true;
        }
        else
        {
            m_sawSpace = m_sawSpace || c == ' ';
            m_adjacent = false;
            ++m_at;
        }
    }

    void ReadWord() noexcept
    {
        const std::size_t begin = m_at;
        ++m_at;
        while (IsNameCharacter(Peek()))
        {
            ++m_at;
        }
        m_name = m_text.substr(begin, m_at - begin);
        m_adjacent = true;
        if (m_name == "operator")
        {
            ReadOperator(begin);
        }
        else if (
            std::find(WordsWithParenthesis.begin(), WordsWithParenthesis.end(), m_name) != WordsWithParenthesis.end())
        {
            SkipSpaces();
            if (Peek() == '(')
            {
                SkipGroup();
            }
            m_name = {};
        }
        else
        {
            m_lambda = false;
        }
    }

    /// What follows the word `operator`: a symbol, a literal's suffix, or a word or type up to the parameter list.
    void ReadOperator(std::size_t begin) noexcept
    {
        for (const auto& symbol : OperatorSymbols)
        {
            if (m_text.substr(m_at).starts_with(symbol))
            {
                m_at += symbol.size();
                m_name = m_text.substr(begin, m_at - begin);
                SkipSpaces();
                if (Peek() == '<')
                {
                    SkipGroup();
                }
                return;
            }
        }
        SkipType();
        m_name = m_text.substr(begin, m_at - begin);
        while (m_name.ends_with(' '))
        {
            m_name.remove_suffix(1);
        }
    }

    /// Up to the parameter list. The parenthesis of a pointer to a function, and the one behind it, belong to the type.
    void SkipType() noexcept
    {
        while (m_at < m_text.size() && (m_text[m_at] != '(' || Peek(1) == '*' || Peek(1) == '&'))
        {
            if (m_text[m_at] == '<')
            {
                SkipGroup();
            }
            else if (m_text[m_at] == '(')
            {
                SkipGroup();
                if (Peek() == '(')
                {
                    SkipGroup();
                }
            }
            else
            {
                ++m_at;
            }
        }
    }

    void ReadParenthesis() noexcept
    {
        if (m_adjacent && !m_name.empty())
        {
            ReadParameters();
            return;
        }
        const auto inside = m_text.substr(m_at + 1);
        if (inside.starts_with("anonymous ") || inside.starts_with("unnamed ") || inside.starts_with("lambda"))
        {
            m_lambda = inside.starts_with("anonymous class") || inside.starts_with("lambda");
            SkipNamelessPart();
            return;
        }
        // "void (* Name(int))(char)": a function that returns a pointer wraps its name.
        ++m_at;
        m_adjacent = false;
    }

    void ReadParameters() noexcept
    {
        const bool isCallOfLambda = m_lambda && m_name.starts_with("operator") && !m_function.empty();
        if (!isCallOfLambda)
        {
            m_function = m_name;
        }
        m_lambda = false;
        SkipNamelessPart();
        SkipQualifiers();
        m_done = !m_text.substr(m_at).starts_with("::");
    }

    /// " const", " &" and the like, where something local to the function follows.
    void SkipQualifiers() noexcept
    {
        const auto next = m_text.find("::", m_at);
        if (next == std::string_view::npos)
        {
            return;
        }
        const auto between = m_text.substr(m_at, next - m_at);
        const bool areQualifiers = between.find_first_not_of(" &acdeilnopstvx") == std::string_view::npos;
        if (areQualifiers && between.starts_with(' '))
        {
            m_at = next;
        }
    }

    void ReadBracket(char c) noexcept
    {
        const bool isOfName = m_adjacent && !m_name.empty();
        if (isOfName)
        {
            SkipGroup();
        }
        else if (c == '[')
        {
            // The list of template arguments behind the signature.
            m_done = true;
        }
        else
        {
            // "{anonymous}", "<lambda(int)>".
            SkipNamelessPart();
        }
    }

    void SkipNamelessPart() noexcept
    {
        SkipGroup();
        m_name = {};
        m_adjacent = false;
    }

    void SkipSpaces() noexcept
    {
        while (Peek() == ' ')
        {
            ++m_at;
        }
    }

    char Peek(std::size_t ahead = 0) const noexcept
    {
        return m_at + ahead < m_text.size() ? m_text[m_at + ahead] : '\0';
    }

    /// From an opening bracket to behind its partner, or to the end where it has none. A ">" closes only a "<", and
    /// inside other brackets both are comparisons or arrows, which balance nothing.
    void SkipGroup() noexcept
    {
        std::size_t angles = 0;
        std::size_t others = 0;
        const bool isAngle = m_text[m_at] == '<';
        for (; m_at < m_text.size(); ++m_at)
        {
            const char c = m_text[m_at];
            if (c == '(' || c == '[' || c == '{')
            {
                ++others;
            }
            else if (c == ')' || c == ']' || c == '}')
            {
                others -= others > 0 ? 1 : 0;
            }
            else if (isAngle && others == 0 && c == '<')
            {
                ++angles;
            }
            else if (isAngle && others == 0 && c == '>' && m_text[m_at - 1] != '-')
            {
                --angles;
            }
            if (others == 0 && angles == 0)
            {
                ++m_at;
                return;
            }
        }
    }

    std::string_view m_text;
    std::size_t m_at = 0;
    /// The last name at the outermost level, and whether nothing but its template arguments came after it.
    std::string_view m_name;
    bool m_adjacent = false;
    /// The last name that had a parameter list.
    std::string_view m_function;
    /// The part before was a lambda's class, whose operators are no names to look up.
    bool m_lambda = false;
    bool m_sawSpace = false;
    bool m_done = false;
};

} // namespace

SourceLocation::SourceLocation(const std::source_location& where)
    : line(where.line()),
      column(where.column()),
      file(where.file_name()),
      function(UnqualifiedFunctionName(where.function_name()))
{
}

std::string_view UnqualifiedFunctionName(std::string_view signature) noexcept
{
    return SignatureReader(signature).Read();
}

} // namespace Shared::Exception

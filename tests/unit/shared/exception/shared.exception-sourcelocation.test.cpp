#include "shared.exception-sourcelocation.hpp"

#include <array>
#include <cstddef>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

using Shared::Exception::SourceLocation;
using Shared::Exception::UnqualifiedFunctionName;

namespace
{

struct Reading
{
    std::string_view signature;
    std::string_view name;
};

/// As GCC writes them.
constexpr std::array<Reading, 46> GccSignatures = {{
    {"int main()", "main"},
    {"void plainc()", "plainc"},
    {"void Shared::Util::Run(int)", "Run"},
    {"void N::{anonymous}::Run(int) const", "Run"},
    {"virtual int A::B<C>::Run(int)", "Run"},
    {"virtual int N::A<T>::Run() volatile [with T = int]", "Run"},
    {"static constexpr std::string N::A::Name(const std::string&)", "Name"},
    {"N::{anonymous}::A<T>::A() [with T = int]", "A"},
    {"N::{anonymous}::A<T>::A(U, U) [with U = long int; T = int]", "A"},
    {"N::A<T>::~A() [with T = int]", "~A"},
    {"virtual N::A::~A()", "~A"},
    {"N::A<T>& N::A<T>::operator=(const N::A<T>&) [with T = int]", "operator="},
    {"bool N::A::operator==(const N::A&) const", "operator=="},
    {"bool N::A<T>::operator<(U) [with U = N::A<int>; T = int]", "operator<"},
    {"bool N::A<T>::operator<=(const N::A<T>&) const [with T = int]", "operator<="},
    {"auto N::A<T>::operator<=>(int) [with T = int]", "operator<=>"},
    {"bool N::A<T>::operator<<(int) const & [with T = int]", "operator<<"},
    {"std::ostream& N::operator<< <T>(std::ostream&, T) [with T = int]", "operator<<"},
    {"bool N::A::operator>>=(int)", "operator>>="},
    {"bool N::A<T>::operator()(int) const [with T = int]", "operator()"},
    {"int N::A<T>::operator[](int) [with T = int]", "operator[]"},
    {"N::A<T>* N::A<T>::operator->() [with T = int]", "operator->"},
    {"int N::A::operator->*(int)", "operator->*"},
    {"N::A<T>& N::A<T>::operator,(int) [with T = int]", "operator,"},
    {"N::A& N::A::operator++(int)", "operator++"},
    {"bool N::A::operator!() const", "operator!"},
    {"int N::operator\"\"_km(long long unsigned int)", "operator\"\"_km"},
    {"N::A<T>::operator bool() const [with T = int]", "operator bool"},
    {"N::A<T>::operator std::vector<std::map<int, T> >() const [with T = int]",
     "operator std::vector<std::map<int, T> >"},
    {"N::A<T>::operator F() const [with T = int; F = void (*)(int)]", "operator F"},
    {"static void* N::A::operator new(std::size_t)", "operator new"},
    {"static void N::A::operator delete [](void*)", "operator delete []"},
    {"main()::<lambda()>", "main"},
    {"main()::<lambda(auto:12 ...)> [with auto:12 = {int, int}]", "main"},
    {"main()::<lambda()> mutable", "main"},
    {"N::{anonymous}::A<int>::Run() const::<lambda(auto:11)>::<lambda()>", "Run"},
    {"void N::{anonymous}::A<T>::Run() const::Local::Go() [with T = int]", "Go"},
    {"N::Run(std::function<void()>)::<lambda(int)>", "Run"},
    {"void (* N::{anonymous}::Run(int))(char)", "Run"},
    {"void (* N::Run(void (*)(int)))(char)", "Run"},
    {"int (& N::{anonymous}::Run())[3]", "Run"},
    {"int (N::{anonymous}::A<int>::* N::{anonymous}::Run())()", "Run"},
    {"decltype(auto) N::Run()", "Run"},
    {"decltype ((x() + 1)) N::Run(int)", "Run"},
    {"T N::Run(T) requires  sizeof (T) > 2 [with T = int]", "Run"},
    {"std::function<void(std::map<int, int, std::less<int>, std::allocator<int> >)> N::Run() [with int I = (3 > 2)]",
     "Run"},
}};

/// As Clang writes them.
constexpr std::array<Reading, 22> ClangSignatures = {{
    {"int main(int, char **)", "main"},
    {"void N::(anonymous namespace)::A<int>::Run(int) const [T = int]", "Run"},
    {"N::(anonymous namespace)::A<int>::A(U, U) [T = int, U = long]", "A"},
    {"N::(anonymous namespace)::A<int>::~A() [T = int]", "~A"},
    {"A<T> &N::(anonymous namespace)::A<int>::operator=(const A<T> &) [T = int]", "operator="},
    {"bool N::(anonymous namespace)::A<int>::operator<(U) [T = int, U = N::(anonymous namespace)::A<int>]",
     "operator<"},
    {"A<T> *N::(anonymous namespace)::A<int>::operator->() [T = int]", "operator->"},
    {"bool N::(anonymous namespace)::A<int>::operator bool() const [T = int]", "operator bool"},
    {"std::vector<std::map<int, T>> N::A<int>::operator vector() const [T = int]", "operator vector"},
    {"F N::(anonymous namespace)::A<int>::operator void (*)(int)() const [T = int]", "operator void (*)(int)"},
    {"static void *N::A<int>::operator new[](std::size_t) [T = int]", "operator new[]"},
    {"int N::(anonymous namespace)::operator\"\"_km(unsigned long long)", "operator\"\"_km"},
    {"auto main()::(anonymous class)::operator()() const", "main"},
    {"auto main()::(anonymous class)::operator()(auto...) const [x:auto = <int, int>]", "main"},
    {"auto N::A<int>::Run()::(anonymous class)::operator()(int)::(anonymous class)::operator()() const [T = int]",
     "Run"},
    {"auto N::Run()::(lambda at Shared/src/a.cpp:52:13)::operator()() const", "Run"},
    {"void N::Run(F) [F = (lambda at a.cpp:52:131)]", "Run"},
    {"void N::(anonymous namespace)::A<int>::Run()::Local::Go() [T = int]", "Go"},
    {"void (*N::(anonymous namespace)::Run(int))(char)", "Run"},
    {"int (&N::(anonymous namespace)::Run())[3]", "Run"},
    {"int (A<int>::*N::(anonymous namespace)::Run())()", "Run"},
    {"std::function<void (std::map<int, int>)> N::(anonymous namespace)::Run() [I = 1]", "Run"},
}};

/// What is no signature, or only the beginning of one: nothing may be read past its end.
constexpr std::array<Reading, 17> OddTexts = {{
    {"", ""},
    {"main", "main"},
    {"N::A::Run", "Run"},
    {"Gr\xC3\xB6\xC3\x9F"
     "e()",
     "Gr\xC3\xB6\xC3\x9F"
     "e"},
    {"not a function", "not a function"},
    {"<lambda()>", "<lambda()>"},
    {"N::{anonymous}::<lambda()>", "N::{anonymous}::<lambda()>"},
    {"auto N::(anonymous class)::operator()() const", "operator()"},
    {"(", "("},
    {")", ")"},
    {"<", "<"},
    {"[", "["},
    {"void Run(", "Run"},
    {"void Run(int)::", "Run"},
    {"operator", "operator"},
    {"operator<", "operator<"},
    {"A<B<C", "A"},
}};

template <std::size_t Count>
void ExpectNames(const std::array<Reading, Count>& readings)
{
    for (const auto& [signature, name] : readings)
    {
        EXPECT_EQ(UnqualifiedFunctionName(signature), name) << "in \"" << signature << "\"";
    }
}

// Functions of all kinds, to ask the compiler of this build.

std::string Here(const std::source_location& where = std::source_location::current())
{
    return SourceLocation(where).function;
}

template <typename T>
struct Sample
{
    Sample() : name(Here())
    {
    }

    explicit Sample(std::string* last) : name("unused"), m_last(last)
    {
    }

    ~Sample()
    {
        if (m_last != nullptr)
        {
            *m_last = Here();
        }
    }

    std::string Member(T) const
    {
        return Here();
    }

    std::string operator()(int) const
    {
        return Here();
    }

    std::string operator<(int) const
    {
        return Here();
    }

    std::string operator<<(int) const
    {
        return Here();
    }

    operator std::vector<std::string>() const
    {
        return {Here()};
    }

    std::string InLambda() const
    {
        return [](auto)
        {
            return []()
            {
                return Here();
            }();
        }(1);
    }

    std::string name;

private:
    std::string* m_last = nullptr;
};

std::string (*ReturningPointer(std::string& name))(int)
{
    name = Here();
    return nullptr;
}

template <typename Function>
std::string Templated(const std::map<int, Function>& /*unused*/)
{
    return Here();
}

} // namespace

TEST(UnqualifiedFunctionNameTest, ReadsSignaturesOfGcc)
{
    ExpectNames(GccSignatures);
}

TEST(UnqualifiedFunctionNameTest, ReadsSignaturesOfClang)
{
    ExpectNames(ClangSignatures);
}

TEST(UnqualifiedFunctionNameTest, GivesBackWhatHasNoName)
{
    ExpectNames(OddTexts);
}

TEST(UnqualifiedFunctionNameTest, IsPartOfTheTextThatWasGivenHoweverThatIsCutOff)
{
    for (const auto& reading : GccSignatures)
    {
        for (std::size_t length = 0; length <= reading.signature.size(); ++length)
        {
            // A buffer of its own, so that a sanitizer sees a read past the end.
            const std::vector<char> buffer(reading.signature.begin(), reading.signature.begin() + length);
            const std::string_view signature(buffer.data(), buffer.size());
            const auto name = UnqualifiedFunctionName(signature);
            EXPECT_TRUE(
                name.data() >= signature.data() && name.data() + name.size() <= signature.data() + signature.size())
                << "in \"" << signature << "\"";
            EXPECT_EQ(name.empty(), signature.empty()) << "in \"" << signature << "\"";
        }
    }
}

TEST(UnqualifiedFunctionNameTest, KnowsThisCompilersFunctions)
{
    std::string last;
    {
        const Sample<std::function<void(int)>> dying(&last);
    }
    const Sample<std::function<void(int)>> sample;
    std::string pointerName;
    ReturningPointer(pointerName);

    EXPECT_EQ(sample.name, "Sample");
    EXPECT_EQ(last, "~Sample");
    EXPECT_EQ(sample.Member({}), "Member");
    EXPECT_EQ(sample(1), "operator()");
    EXPECT_EQ(sample < 1, "operator<");
    EXPECT_EQ(sample << 1, "operator<<");
    EXPECT_EQ(sample.InLambda(), "InLambda");
    EXPECT_EQ(pointerName, "ReturningPointer");
    EXPECT_EQ((Templated<std::function<bool(int)>>({})), "Templated");
    EXPECT_EQ(static_cast<std::vector<std::string>>(sample).at(0).substr(0, 9), "operator ");
    EXPECT_EQ(Here(), "TestBody");
    EXPECT_EQ(
        []
        {
            return Here();
        }(),
        "TestBody");
}

TEST(SourceLocationTest, TakesLineColumnAndFileAsTheLanguageGivesThem)
{
    const auto where = std::source_location::current();
    const SourceLocation location(where);
    EXPECT_EQ(location.line, where.line());
    EXPECT_EQ(location.column, where.column());
    EXPECT_EQ(location.file, where.file_name());
    EXPECT_EQ(location.function, "TestBody");
    EXPECT_GT(location.line, 0U);
    EXPECT_NE(location.file.find("shared.exception-sourcelocation.test.cpp"), std::string::npos);
}

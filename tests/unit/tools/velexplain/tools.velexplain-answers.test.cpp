#include "tools.velexplain-answers.hpp"

#include <filesystem>
#include <string>

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "test.support-temporaryfolder.hpp"

namespace
{

using namespace Tools::VelExplain;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

std::string FaultOf(const std::string& text)
{
    try
    {
        RequireJson(text, "file");
    }
    catch (const InputError& problem)
    {
        return problem.what();
    }
    return {};
}

class VelExplainAnswersTest : public testing::Test
{
protected:
    std::filesystem::path Write(const std::string& name, const std::string& bytes) const
    {
        TestSupport::WriteFile(m_folder.Path() / name, bytes);
        return m_folder.Path() / name;
    }

    static std::string ProblemOf(const Options& options)
    {
        try
        {
            GatherAnswers(options);
        }
        catch (const InputError& problem)
        {
            return problem.what();
        }
        return "nothing was thrown";
    }

    TestSupport::TemporaryFolder m_folder;
};

TEST_F(VelExplainAnswersTest, FilesAreReadAsTheyAre)
{
    const std::string text = fmt::format("{{\"a\":\r\n\"{}\"}}", std::string(100000, 'x'));
    Options options;
    options.files[Request::Mtr] = ToText(Write("a.json", text));
    const auto answers = GatherAnswers(options);
    ASSERT_EQ(answers.byRequest.size(), 1U);
    EXPECT_EQ(answers.byRequest.at(Request::Mtr).text, text);
    EXPECT_EQ(answers.byRequest.at(Request::Mtr).source, options.files[Request::Mtr]);
}

TEST_F(VelExplainAnswersTest, NamesOfFilesMayHaveAnyLetters)
{
    const std::string name = "\xC3\xBC\xE2\x82\xAC.json";
    std::filesystem::path path = m_folder.Path() / ToPath(name);
    TestSupport::WriteFile(path, "7");
    if (!std::filesystem::exists(path))
    {
        GTEST_SKIP() << "the system's locale has no such letters";
    }
    EXPECT_EQ(ReadInput(path), "7");
    EXPECT_THAT(ToText(path), EndsWith(name));
}

TEST_F(VelExplainAnswersTest, AFileThatCannotBeReadIsNamed)
{
    Options options;
    options.files[Request::Tags] = ToText(m_folder.Path() / "none.json");
    EXPECT_EQ(ProblemOf(options), options.files[Request::Tags] + ": cannot be read");
    options.files[Request::Tags] = ToText(m_folder.Path());
    EXPECT_EQ(ProblemOf(options), options.files[Request::Tags] + ": is a folder, and a file is wanted");
}

TEST_F(VelExplainAnswersTest, AFileThatIsNoJsonIsNamedWithThePlace)
{
    Options options;
    options.files[Request::Tags] = ToText(Write("bad.json", "{\"a\":\n 1,}"));
    EXPECT_THAT(ProblemOf(options), StartsWith(options.files[Request::Tags] + ": is no JSON: line 2, column 4: "));
}

TEST_F(VelExplainAnswersTest, AFileThatIsTooLargeIsNotRead)
{
    const auto file = Write("large.json", "1");
    std::filesystem::resize_file(file, LargestFile + 1);
    Options options;
    options.files[Request::Tags] = ToText(file);
    EXPECT_THAT(ProblemOf(options), EndsWith("large.json: is larger than 256 MB"));
}

TEST(VelExplainJsonFaultTest, WhatTheAgentTakesIsTaken)
{
    for (const auto* const text : {"{}", "7", "null", "\xEF\xBB\xBF[]", " \"\xC3\xBC\" "})
    {
        EXPECT_EQ(FaultOf(text), "") << text;
    }
    EXPECT_EQ(FaultOf(std::string(100000, '[') + std::string(100000, ']')), "");
}

TEST(VelExplainJsonFaultTest, WhatItDoesNotTakeIsRefusedWithThePlaceWhereThereIsOne)
{
    EXPECT_THAT(FaultOf(""), StartsWith("file: is no JSON: line 1, column 1: "));
    EXPECT_THAT(FaultOf("[1,\n2,\n  x]"), StartsWith("file: is no JSON: line 3, column 3: "));
    EXPECT_THAT(FaultOf("{} {}"), HasSubstr("line 1, column 4"));
    EXPECT_THAT(FaultOf("\"\xFF\""), HasSubstr("line 1"));
    EXPECT_THAT(FaultOf(std::string(100000, '[')), StartsWith("file: is no JSON"));
    // A lone surrogate: here only the agent sees a fault.
    EXPECT_THAT(FaultOf(R"("\uDC00")"), StartsWith("file: is no JSON"));
}

TEST(VelExplainJsonFaultTest, TheTextItselfIsNotRepeated)
{
    EXPECT_THAT(FaultOf("[secret"), Not(HasSubstr("secret")));
}

} // namespace

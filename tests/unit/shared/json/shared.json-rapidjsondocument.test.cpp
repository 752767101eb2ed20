#include "shared.json-rapidjsondocument.hpp"

#include "test.support-exceptions.hpp"

#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

using Shared::Json::RapidJsonDocument;
using Shared::Json::RapidJsonValue;
using TestSupport::RuntimeText;

namespace
{

constexpr int Depth = 100'000;

std::string Repeat(std::string_view text, int count)
{
    std::string all;
    for (int i = 0; i < count; ++i)
    {
        all += text;
    }
    return all;
}

/// Text of that many levels, of which one and all at the other end.
const std::vector<std::string>& DeepTexts()
{
    static const std::vector<std::string> Texts{
        std::string(Depth, '[') + std::string(Depth, ']'), Repeat(R"({"a":)", Depth) + "1" + std::string(Depth, '}'),
        Repeat(R"([{"b":[],"a":)", Depth / 2) + "null" + Repeat("},0]", Depth / 2)};
    return Texts;
}

std::string ParseError(std::string_view text)
{
    return RuntimeText([text] { const RapidJsonDocument document(text); });
}

std::string Rewritten(std::string_view text)
{
    return RapidJsonDocument(text).GetJsonText();
}

std::string PathError(std::string_view path)
{
    return RuntimeText([path] { RapidJsonDocument("{}").GetOptionalValueByPath(path); });
}

} // namespace

// Parsing

TEST(RapidJsonDocumentTest, WhatIsParsedIsWrittenBackCompact)
{
    EXPECT_EQ(
        Rewritten(" {\"b\" : [ 1 , -2.5 , true , null , \"\\u00e9\\n\" ] ,\n \"a\" : { } } "),
        "{\"b\":[1,-2.5,true,null,\"\u00e9\\n\"],\"a\":{}}");
}

TEST(RapidJsonDocumentTest, AnyValueCanBeTheRoot)
{
    for (const std::string text : {"{}", "[]", "\"text\"", "7", "-0.5", "true", "false", "null"})
    {
        EXPECT_EQ(Rewritten(text), text);
    }
}

TEST(RapidJsonDocumentTest, TheTextMayComeAsCharacters)
{
    const char* text = "[1]";
    EXPECT_EQ(RapidJsonDocument(text).GetJsonText(), "[1]");
    EXPECT_EQ(
        RuntimeText([] { const RapidJsonDocument document(static_cast<const char*>(nullptr)); }),
        "rapidJSON encountered a parse error on string ==> ");
}

TEST(RapidJsonDocumentTest, TextThatIsNotJsonIsNamedInTheError)
{
    for (const std::string text :
         {"",          " ",   "{",    "}",       "[1,]",     "{\"a\":1,}", "{a:1}", "{'a':1}",  "01",
          "+1",        "1.",  ".5",   "NaN",     "Infinity", "nul",        "\"a",   "\"a\nb\"", "\"\\x\"",
          "\"\\u12\"", "1 2", "{} x", "// c\n1", "[1] ]",    "{\"a\" 1}",  "<html>"})
    {
        EXPECT_EQ(ParseError(text), "rapidJSON encountered a parse error on string ==> " + text);
    }
}

TEST(RapidJsonDocumentTest, BracesInTheTextAreNoPlaceholdersOfTheError)
{
    EXPECT_EQ(ParseError("{} {0} {"), "rapidJSON encountered a parse error on string ==> {} {0} {");
}

TEST(RapidJsonDocumentTest, ANullCharacterDoesNotEndTheText)
{
    using namespace std::string_literals;
    EXPECT_THROW(RapidJsonDocument("{}\0{}"s), std::runtime_error);
    EXPECT_THROW(RapidJsonDocument("{}\0"s), std::runtime_error);
    EXPECT_THROW(RapidJsonDocument("\"a\0b\""s), std::runtime_error);
    EXPECT_EQ(RapidJsonDocument("\"a\\u0000b\"").GetRoot().GetString().GetValue(), "a\0b"s);
}

TEST(RapidJsonDocumentTest, BytesThatAreNotUtf8AreRefused)
{
    for (const std::string bytes :
         {"\xFF", "\xC3", "\xC0\x80", "\xE2\x82", "\xED\xA0\x80", "\xED\xB0\x80", "\xF4\x90\x80\x80", "\x80"})
    {
        EXPECT_EQ(
            ParseError("[\"" + bytes + "\"]"), "rapidJSON encountered a parse error on string ==> [\"" + bytes + "\"]");
        EXPECT_THROW(RapidJsonDocument("{\"" + bytes + "\":1}"), std::runtime_error);
    }
    EXPECT_EQ(Rewritten("[\"\u00e9\u20ac\U0001F600\"]"), "[\"\u00e9\u20ac\U0001F600\"]");
}

TEST(RapidJsonDocumentTest, ASurrogateThatIsEscapedWithoutItsPartnerIsRefused)
{
    for (const std::string text :
         {R"("\uD800")", R"("\uDC00")", R"("\uDC00\uD800")", R"("\uD800x")", R"("\uD800\n")", R"({"\uDFFF":1})",
          "\"\uD55C\\uDC00\""})
    {
        EXPECT_EQ(ParseError(text), "rapidJSON encountered a parse error on string ==> " + text);
    }
    EXPECT_EQ(RapidJsonDocument(R"("\uD83D\uDE00")").GetRoot().GetString().GetValue(), "\U0001F600");
    // The last characters before the surrogates begin with the same byte as they do.
    EXPECT_EQ(Rewritten("\"\uD7FF\uD000\""), "\"\uD7FF\uD000\"");
}

TEST(RapidJsonDocumentTest, AByteOrderMarkIsPassedOverWhole)
{
    EXPECT_EQ(Rewritten("\xEF\xBB\xBF[1]"), "[1]");
    EXPECT_THROW(RapidJsonDocument("\xEF[1]"), std::runtime_error);
    EXPECT_THROW(RapidJsonDocument("\xEF\xBB[1]"), std::runtime_error);
    EXPECT_THROW(RapidJsonDocument("\xEF\xBB\xBF\xEF\xBB\xBF[1]"), std::runtime_error);
}

TEST(RapidJsonDocumentTest, NumbersAreRoundedToTheNearestDouble)
{
    const auto number = [](const char* text)
    {
        return RapidJsonDocument(text).GetRoot().GetDouble().GetValue();
    };
    EXPECT_EQ(number("0.1"), 0.1);
    EXPECT_EQ(number("1.7976931348623157e308"), std::numeric_limits<double>::max());
    EXPECT_EQ(number("4.9406564584124654e-324"), std::numeric_limits<double>::denorm_min());
    EXPECT_EQ(number("2.2250738585072011e-308"), 2.2250738585072011e-308);
    EXPECT_EQ(number("9007199254740993.0"), 9007199254740992.0);
    EXPECT_EQ(number("0.500000000000000166533453693773481063544750213623046875"), 0.5000000000000002);
    EXPECT_EQ(number("123456789012345678901234567890"), 123456789012345678901234567890.0);
    EXPECT_TRUE(std::signbit(number("-0.0")));
}

TEST(RapidJsonDocumentTest, NumbersOutOfTheRangeOfADoubleAreRefused)
{
    for (const std::string text :
         {"1e309", "-1e309", "1.7976931348623159e308", "[1e999999999999]", "-92233407370955161e308", "1e-400",
          "[1e-999999999999]"})
    {
        EXPECT_EQ(ParseError(text), "rapidJSON encountered a parse error on string ==> " + text);
    }
    EXPECT_THROW(RapidJsonDocument(std::string(400, '9')), std::runtime_error);
    EXPECT_EQ(Rewritten("0e-999999999999"), "0.0");
}

// Looking up

TEST(RapidJsonDocumentTest, APathWithAndWithoutItsLeadingSlashResolvesAlike)
{
    const RapidJsonDocument document(R"({"a":{"b":[10,20]}})");
    EXPECT_EQ(document.GetOptionalValueByPath("/a/b/1").GetInt32().GetValue(), 20);
    EXPECT_EQ(document.GetOptionalValueByPath("a/b/1").GetInt32().GetValue(), 20);
    EXPECT_EQ(document.GetJsonTextByPath("a"), document.GetJsonTextByPath("/a"));
}

TEST(RapidJsonDocumentTest, AnEmptyPathIsRefused)
{
    EXPECT_EQ(PathError(""), "GetOptionalValueByPath() requires a non-empty path");
    EXPECT_EQ(
        RuntimeText([] { RapidJsonDocument("{}").GetJsonTextByPath(""); }),
        "GetOptionalValueByPath() requires a non-empty path");
    EXPECT_THROW(RapidJsonValue().GetOptionalValueByPath(""), std::runtime_error);
}

TEST(RapidJsonDocumentTest, APathThatIsNoPointerIsRefused)
{
    EXPECT_EQ(PathError("/a~2b"), "RapidJSON pointer is not valid for path /a~2b");
    EXPECT_EQ(PathError("a~"), "RapidJSON pointer is not valid for path a~");
    EXPECT_THROW(RapidJsonValue().GetOptionalValueByPath("~"), std::runtime_error);
}

TEST(RapidJsonDocumentTest, EscapesInAPathNameSlashesAndTildes)
{
    const RapidJsonDocument document(R"({"/config/agent":1,"a~b":2,"~1":3,"":4,"#":5,"%41":6})");
    EXPECT_EQ(document.GetJsonTextByPath("/~1config~1agent"), "1");
    EXPECT_EQ(document.GetJsonTextByPath("a~0b"), "2");
    EXPECT_EQ(document.GetJsonTextByPath("/~01"), "3");
    EXPECT_EQ(document.GetJsonTextByPath("/"), "4");
    EXPECT_EQ(document.GetJsonTextByPath("#"), "5");
    EXPECT_EQ(document.GetJsonTextByPath("%41"), "6");
}

TEST(RapidJsonDocumentTest, APathThatFindsNothingGivesNothing)
{
    const RapidJsonDocument document(R"({"a":{"b":[1]},"s":"text","n":null})");
    for (const auto* path :
         {"/x", "/a/x", "/a/b/1", "/a/b/-", "/a/b/00", "/a/b/x", "/a/b/-1", "/a/b/18446744073709551616", "/s/0", "/n/x",
          "/a/", "/a/b/0/x"})
    {
        EXPECT_FALSE(document.GetOptionalValueByPath(path).HasValue()) << path;
        EXPECT_EQ(document.GetJsonTextByPath(path), "") << path;
    }
}

TEST(RapidJsonDocumentTest, ANullCharacterInAPathEndsTheNameItStandsIn)
{
    using namespace std::string_literals;
    const RapidJsonDocument document(R"({"a\u0000b":1,"a":{"c":2}})");
    EXPECT_EQ(document.GetJsonTextByPath("a\0b/c"s), "2");
    EXPECT_EQ(document.GetJsonTextByPath("\0"s), "");
}

TEST(RapidJsonDocumentTest, TheTextAtAPathIsWrittenCompact)
{
    const RapidJsonDocument document("{ \"a\" : { \"b\" : [ 1 , null ] } , \"s\" : \"x\" }");
    EXPECT_EQ(document.GetJsonTextByPath("/a"), R"({"b":[1,null]})");
    EXPECT_EQ(document.GetJsonTextByPath("/s"), R"("x")");
    EXPECT_EQ(document.GetJsonTextByPath("/a/b/1"), "null");
}

TEST(RapidJsonDocumentTest, APathGoesOnFromAValueToo)
{
    const RapidJsonDocument document(R"([{"measurement":{"usage":95}}])");
    const auto element = document.GetRoot().GetElements()[0];
    EXPECT_EQ(element.GetOptionalValueByPath("/measurement/usage").GetUint32().GetValue(), 95U);
    EXPECT_EQ(element.GetJsonTextByPath("measurement"), R"({"usage":95})");
    EXPECT_FALSE(RapidJsonValue().GetOptionalValueByPath("/a").HasValue());
}

TEST(RapidJsonDocumentTest, OfTwoMembersWithOneNameAPathFindsTheFirst)
{
    const RapidJsonDocument document(R"({"a":1,"a":2})");
    EXPECT_EQ(document.GetJsonTextByPath("a"), "1");
    EXPECT_EQ(document.GetRoot().GetMembers().size(), 2U);
}

// Values

TEST(RapidJsonDocumentTest, AGetterOfAnotherTypeGivesNothing)
{
    const RapidJsonDocument document(
        R"({"bool":true,"int":-1,"real":1.5,"text":"1","null":null,"list":[],"object":{}})");
    for (const auto& [name, value] : document.GetRoot().GetMembers())
    {
        SCOPED_TRACE(name);
        EXPECT_EQ(value.GetBool().HasValue(), name == "bool");
        EXPECT_EQ(value.GetInt32().HasValue(), name == "int");
        EXPECT_EQ(value.GetInt64().HasValue(), name == "int");
        EXPECT_FALSE(value.GetUint32().HasValue());
        EXPECT_FALSE(value.GetUint64().HasValue());
        EXPECT_EQ(value.GetDouble().HasValue(), name == "int" || name == "real");
        EXPECT_EQ(value.GetString().HasValue(), name == "text");
        EXPECT_EQ(value.IsNull(), name == "null");
        EXPECT_EQ(value.IsArray(), name == "list");
        EXPECT_EQ(value.IsObject(), name == "object");
        EXPECT_TRUE(value.HasValue());
        EXPECT_TRUE(value.GetElements().empty());
        EXPECT_TRUE(value.GetMembers().empty());
    }
}

TEST(RapidJsonDocumentTest, NothingHasNoTypeAndNoContent)
{
    const RapidJsonValue nothing;
    EXPECT_FALSE(nothing.HasValue());
    EXPECT_FALSE(nothing.IsNull());
    EXPECT_FALSE(nothing.IsObject());
    EXPECT_FALSE(nothing.IsArray());
    EXPECT_FALSE(nothing.GetBool().HasValue());
    EXPECT_FALSE(nothing.GetInt32().HasValue());
    EXPECT_FALSE(nothing.GetUint32().HasValue());
    EXPECT_FALSE(nothing.GetInt64().HasValue());
    EXPECT_FALSE(nothing.GetUint64().HasValue());
    EXPECT_FALSE(nothing.GetDouble().HasValue());
    EXPECT_FALSE(nothing.GetString().HasValue());
    EXPECT_TRUE(nothing.GetMembers().empty());
    EXPECT_TRUE(nothing.GetElements().empty());
    EXPECT_EQ(nothing.GetJsonText(), "");
    EXPECT_EQ(nothing.GetJsonTextByPath("/a"), "");
}

TEST(RapidJsonDocumentTest, AMissingValueReadsAsNull)
{
    const RapidJsonDocument document(R"({"success":null})");
    EXPECT_EQ(
        RuntimeText([&] { (void)document.GetOptionalValueByPath("success").GetBool().GetValue(); }),
        "Nullable is null");
    EXPECT_EQ(
        RuntimeText([&] { (void)document.GetOptionalValueByPath("other").GetBool().GetValue(); }), "Nullable is null");
}

TEST(RapidJsonDocumentTest, IntegersAreReadInTheWidthThatHoldsThem)
{
    const auto value = [](const RapidJsonDocument& document)
    {
        return document.GetRoot();
    };
    const RapidJsonDocument small("2147483648");
    EXPECT_FALSE(value(small).GetInt32().HasValue());
    EXPECT_EQ(value(small).GetUint32().GetValue(), 2147483648U);
    EXPECT_EQ(value(small).GetInt64().GetValue(), 2147483648);
    const RapidJsonDocument large("18446744073709551615");
    EXPECT_FALSE(value(large).GetInt64().HasValue());
    EXPECT_FALSE(value(large).GetUint32().HasValue());
    EXPECT_EQ(value(large).GetUint64().GetValue(), 18446744073709551615U);
    const RapidJsonDocument least("-9223372036854775808");
    EXPECT_EQ(value(least).GetInt64().GetValue(), std::numeric_limits<std::int64_t>::min());
    EXPECT_FALSE(value(least).GetInt32().HasValue());
    const RapidJsonDocument beyond("18446744073709551616");
    EXPECT_FALSE(value(beyond).GetUint64().HasValue());
    EXPECT_EQ(value(beyond).GetDouble().GetValue(), 18446744073709551616.0);
    EXPECT_EQ(value(RapidJsonDocument("7")).GetDouble().GetValue(), 7.0);
}

TEST(RapidJsonDocumentTest, ANumberWithAFractionOrAnExponentIsNoInteger)
{
    for (const char* text : {"5.0", "5e0", "0.5"})
    {
        const RapidJsonDocument document(text);
        EXPECT_FALSE(document.GetRoot().GetInt64().HasValue()) << text;
        EXPECT_FALSE(document.GetRoot().GetUint32().HasValue()) << text;
    }
}

TEST(RapidJsonDocumentTest, MembersAndElementsComeInTheOrderOfTheText)
{
    const RapidJsonDocument document(R"({"z":[3,1,2],"a":0,"z":1,"m\u0000":2})");
    std::vector<std::string> names;
    for (const auto& member : document.GetRoot().GetMembers())
    {
        names.emplace_back(member.name);
    }
    EXPECT_EQ(names, (std::vector<std::string>{"z", "a", "z", std::string("m\0", 2)}));
    std::vector<int> elements;
    for (const auto& element : document.GetOptionalValueByPath("z").GetElements())
    {
        elements.push_back(element.GetInt32().GetValue());
    }
    EXPECT_EQ(elements, (std::vector<int>{3, 1, 2}));
}

TEST(RapidJsonDocumentTest, AValueStaysValidWhenItsDocumentIsMoved)
{
    RapidJsonDocument first(R"({"a":"text"})");
    const auto value = first.GetOptionalValueByPath("a");
    const RapidJsonDocument second(std::move(first));
    EXPECT_EQ(value.GetString().GetValue(), "text");
    first = RapidJsonDocument("[2]");
    EXPECT_EQ(first.GetJsonText(), "[2]");
    EXPECT_EQ(second.GetJsonText(), R"({"a":"text"})");
}

// Adding

TEST(RapidJsonDocumentTest, ADocumentWithoutATextIsAnEmptyObject)
{
    RapidJsonDocument document;
    EXPECT_EQ(document.GetJsonText(), "{}");
    document.Add("name", "Analyse");
    EXPECT_EQ(document.GetJsonText(), R"({"name":"Analyse"})");
}

TEST(RapidJsonDocumentTest, AStringIsAddedAsAStringWhateverItLooksLike)
{
    RapidJsonDocument document;
    document.Add("a", "{\"b\":1}");
    document.Add("c", "quote \" backslash \\ line\nfeed \x01 \u00e9");
    document.Add("d", "");
    document.Add("", std::string("x\0y", 3));
    EXPECT_EQ(
        document.GetJsonText(),
        "{\"a\":\"{\\\"b\\\":1}\",\"c\":\"quote \\\" backslash \\\\ line\\nfeed \\u0001 \u00e9\",\"d\":\"\","
        "\"\":\"x\\u0000y\"}");
}

TEST(RapidJsonDocumentTest, ADocumentIsAddedAsACopy)
{
    RapidJsonDocument document(R"({"report":{}})");
    {
        RapidJsonDocument inner(R"({"a":[1,2.5,"a text longer than what a value holds in itself",null,true]})");
        document.Add("inner", inner);
        inner.Add("later", "x");
    }
    document.Add("index", RapidJsonDocument("7"));
    EXPECT_EQ(
        document.GetJsonText(),
        R"({"report":{},"inner":{"a":[1,2.5,"a text longer than what a value holds in itself",null,true]},"index":7})");
}

TEST(RapidJsonDocumentTest, ADocumentCanBeAddedToItself)
{
    RapidJsonDocument document(R"({"a":1})");
    document.Add("self", document);
    EXPECT_EQ(document.GetJsonText(), R"({"a":1,"self":{"a":1}})");
}

TEST(RapidJsonDocumentTest, AMemberThatIsThereIsReplacedHoweverOftenItIsThere)
{
    RapidJsonDocument document(R"({"index":1,"other":true,"index":"2"})");
    document.Add("index", RapidJsonDocument("9"));
    EXPECT_EQ(document.GetJsonText(), R"({"other":true,"index":9})");
    document.Add("other", "text");
    EXPECT_EQ(document.GetJsonText(), R"({"index":9,"other":"text"})");
}

TEST(RapidJsonDocumentTest, NothingCanBeAddedToWhatIsNoObject)
{
    for (const char* text : {"[1]", "7", "null", "\"a\""})
    {
        RapidJsonDocument document(text);
        EXPECT_EQ(
            RuntimeText([&] { document.Add("index", "x"); }),
            "rapidJSON encountered a parse error adding member: index");
        EXPECT_EQ(
            RuntimeText([&] { document.Add("index", RapidJsonDocument("1")); }),
            "rapidJSON encountered a parse error adding member: index");
        EXPECT_EQ(document.GetJsonText(), text);
    }
}

TEST(RapidJsonDocumentTest, WhatIsNotUtf8IsNotAdded)
{
    RapidJsonDocument document;
    EXPECT_EQ(
        RuntimeText([&] { document.Add("name", "a\xFF"); }), "rapidJSON encountered a parse error adding member: name");
    EXPECT_EQ(
        RuntimeText([&] { document.Add("\xFF", "a"); }), "rapidJSON encountered a parse error adding member: \xFF");
    EXPECT_EQ(
        RuntimeText([&] { document.Add("\xED\xB0\x80", RapidJsonDocument("1")); }),
        "rapidJSON encountered a parse error adding member: \xED\xB0\x80");
    EXPECT_EQ(document.GetJsonText(), "{}");
}

// Size

TEST(RapidJsonDocumentTest, DeepNestingIsParsedAndWrittenBack)
{
    for (const auto& text : DeepTexts())
    {
        const RapidJsonDocument document(text);
        EXPECT_TRUE(document.GetJsonText() == text);
    }
}

TEST(RapidJsonDocumentTest, DeepNestingIsCopiedWhenItIsAdded)
{
    for (const auto& text : DeepTexts())
    {
        RapidJsonDocument document;
        {
            const RapidJsonDocument inner(text);
            document.Add("a", inner);
            document.Add("b", inner);
        }
        document.Add("a", document);
        EXPECT_TRUE(document.GetJsonText() == "{\"b\":" + text + ",\"a\":{\"a\":" + text + ",\"b\":" + text + "}}");
    }
}

TEST(RapidJsonDocumentTest, ADeepPathLeadsToTheGround)
{
    const RapidJsonDocument document(DeepTexts().at(1));
    EXPECT_EQ(document.GetOptionalValueByPath(Repeat("/a", Depth)).GetInt32().GetValue(), 1);
    EXPECT_EQ(document.GetJsonTextByPath(Repeat("/a", Depth - 1)), R"({"a":1})");
    EXPECT_FALSE(document.GetOptionalValueByPath(Repeat("/a", Depth + 1)).HasValue());
}

TEST(RapidJsonDocumentTest, DeepNestingWithoutAnEndIsRefused)
{
    for (const auto& text : DeepTexts())
    {
        EXPECT_THROW(RapidJsonDocument(std::string_view(text).substr(0, text.size() - 1)), std::runtime_error);
    }
}

TEST(RapidJsonDocumentTest, ALargeTextIsParsedAndWrittenBack)
{
    std::string text = "[";
    while (text.size() < 8'000'000)
    {
        text += R"({"name":"some text","values":[1,-2,3.25,true,null]},)";
    }
    text += "\"" + std::string(50'000'000, 'x') + "\"]";
    EXPECT_TRUE(Rewritten(text) == text);
}

TEST(RapidJsonDocumentTest, TheErrorHoldsALargeTextWhole)
{
    const std::string text = "[\"" + std::string(50'000'000, 'x');
    try
    {
        const RapidJsonDocument document(text);
        FAIL() << "nothing was thrown";
    }
    catch (const std::runtime_error& exception)
    {
        const std::string_view what = exception.what();
        ASSERT_TRUE(what.ends_with(text));
        EXPECT_TRUE(
            what.substr(0, what.size() - text.size()).ends_with("rapidJSON encountered a parse error on string ==> "));
    }
}

// Without copies

TEST(RapidJsonDocumentTest, AStringIsSeenWithoutACopy)
{
    using namespace std::string_literals;
    const RapidJsonDocument document(
        R"(["","short","a\u0000b","\n\"\\\/\u00e9","a text that is longer than any that fits",7])");
    const auto elements = document.GetRoot().GetElements();
    for (const std::size_t i : {0, 1, 2, 3, 4})
    {
        EXPECT_EQ(elements[i].GetStringView().GetValue(), elements[i].GetString().GetValue());
        EXPECT_EQ(elements[i].GetStringView().GetValue().data(), elements[i].GetStringView().GetValue().data());
    }
    EXPECT_EQ(elements[2].GetStringView().GetValue(), "a\0b"s);
    EXPECT_EQ(elements[3].GetStringView().GetValue(), "\n\"\\/\u00e9");
    EXPECT_FALSE(elements[5].GetStringView().HasValue());
    EXPECT_FALSE(RapidJsonValue().GetStringView().HasValue());
}

TEST(RapidJsonDocumentTest, TheTextMayGoWhenItIsParsed)
{
    auto text = std::make_unique<std::string>(R"({"a name that is long enough":["a text that is long enough",-12.5]})");
    const RapidJsonDocument document(*text);
    text->assign(text->size(), 'x');
    text.reset();
    EXPECT_EQ(document.GetJsonText(), R"({"a name that is long enough":["a text that is long enough",-12.5]})");
}

TEST(RapidJsonDocumentTest, WhatIsAddedOutlivesWhereItCameFrom)
{
    RapidJsonDocument holder;
    {
        const RapidJsonDocument added(R"({"a name that is long enough":["a text that is long enough","short"]})");
        holder.Add("added", added);
        holder.Add("text", added.GetJsonText());
    }
    EXPECT_EQ(
        holder.GetJsonTextByPath("added"), R"({"a name that is long enough":["a text that is long enough","short"]})");
}

TEST(RapidJsonDocumentTest, WhatWasSeenStaysWhenTheDocumentIsMoved)
{
    RapidJsonDocument document(R"(["a text that is long enough","short"])");
    const auto elements = document.GetRoot().GetElements();
    const RapidJsonDocument moved(std::move(document));
    EXPECT_EQ(elements[0].GetStringView().GetValue(), "a text that is long enough");
    EXPECT_EQ(elements[1].GetStringView().GetValue(), "short");
}

TEST(RapidJsonDocumentTest, AMemberIsFoundByItsNameAsItStands)
{
    using namespace std::string_literals;
    const RapidJsonDocument document(R"({"a":1,"/a":2,"a~1b":3,"":4,"a\u0000b":5,"a":6,"A":7,"list":[8]})");
    const auto find = [&](std::string_view name)
    {
        return document.GetRoot().GetMember(name).GetJsonText();
    };
    EXPECT_EQ(find("a"), "1");
    EXPECT_EQ(find("/a"), "2");
    EXPECT_EQ(find("a~1b"), "3");
    EXPECT_EQ(find(""), "4");
    EXPECT_EQ(find("a\0b"s), "5");
    EXPECT_EQ(find("A"), "7");
    EXPECT_FALSE(document.GetRoot().GetMember("b").HasValue());
    EXPECT_FALSE(document.GetRoot().GetMember("list").GetMember("0").HasValue());
    EXPECT_FALSE(RapidJsonValue().GetMember("a").HasValue());
}

TEST(RapidJsonDocumentTest, WhatIsInsideIsGoneThroughInOrder)
{
    const RapidJsonDocument document(R"({"b":1,"a":[10,[],{}],"b":2,"empty":{},"none":[]})");
    const auto members = document.GetRoot().GetMembers();
    ASSERT_EQ(members.size(), 5U);
    EXPECT_FALSE(members.empty());
    std::string names;
    for (const auto member : members)
    {
        names += member.name;
    }
    EXPECT_EQ(names, "babemptynone");
    EXPECT_EQ(members[2].value.GetInt32().GetValue(), 2);
    auto element = members[1].value.GetElements().begin();
    EXPECT_EQ((*element++).GetInt32().GetValue(), 10);
    EXPECT_TRUE((*element).IsArray());
    EXPECT_TRUE((*++element).IsObject());
    EXPECT_EQ(++element, members[1].value.GetElements().end());
    EXPECT_TRUE(members[3].value.GetMembers().empty());
    EXPECT_TRUE(members[4].value.GetElements().empty());
    EXPECT_EQ(Shared::Json::RapidJsonMembers().size(), 0U);
}

TEST(RapidJsonDocumentTest, AnEscapedSurrogateIsFoundWhereverItStands)
{
    for (std::size_t before = 0; before < 200; ++before)
    {
        const auto text = [before](std::string_view escape)
        {
            return "\"" + std::string(before, ' ') + std::string(escape) + "\"";
        };
        ASSERT_THROW(RapidJsonDocument(text("\\uDC00")), std::runtime_error) << before;
        ASSERT_THROW(RapidJsonDocument(text("\\udc00")), std::runtime_error) << before;
        ASSERT_EQ(Rewritten(text("\\ud83d\\uDE00")), text("\U0001F600")) << before;
        ASSERT_EQ(Rewritten(text("\\\\ud800")), text("\\\\ud800")) << before;
    }
}

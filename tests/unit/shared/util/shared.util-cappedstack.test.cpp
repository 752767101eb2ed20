#include "shared.util-cappedstack.hpp"

#include "test.support-exceptions.hpp"

#include <cstddef>
#include <deque>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

using Shared::Util::CappedStack;
using TestSupport::InvalidArgumentText;
using TestSupport::RuntimeText;
using Items = std::deque<int>;

namespace
{

CappedStack<int> Of(const std::vector<int>& items, std::uint64_t maxSize = 10)
{
    CappedStack<int> stack(maxSize, false);
    for (const int item : items)
    {
        stack.Push(item);
    }
    return stack;
}

} // namespace

TEST(CappedStackTest, AMaximumOfZeroIsRefused)
{
    EXPECT_EQ(InvalidArgumentText([] { CappedStack<int>(0, true); }), "maxSize is 0");
    try
    {
        CappedStack<int>(0, false);
        FAIL();
    }
    catch (const Shared::Exception::InvalidArgumentException& exception)
    {
        EXPECT_EQ(std::string(exception.what()).find("Exception in CappedStack() at "), 0U) << exception.what();
    }
}

TEST(CappedStackTest, StartsEmptyWithWhatItWasGiven)
{
    const CappedStack<int> stack(2, true);
    EXPECT_TRUE(stack.Empty());
    EXPECT_EQ(stack.Size(), 0U);
    EXPECT_EQ(stack.GetMaxSize(), 2U);
    EXPECT_TRUE(stack.IsUniqueTop());
    EXPECT_FALSE(CappedStack<int>(1, false).IsUniqueTop());
    EXPECT_EQ(stack.GetItems(), Items());
}

TEST(CappedStackTest, ReadingAnEmptyStackThrows)
{
    const CappedStack<int> stack(2, true);
    EXPECT_EQ(RuntimeText([&] { (void)stack.GetFirst(); }), "Cannot get from empty stack");
    EXPECT_EQ(RuntimeText([&] { (void)stack.GetCurrent(); }), "Cannot get from empty stack");
    EXPECT_EQ(RuntimeText([&] { (void)stack[0]; }), "stack is empty");
}

TEST(CappedStackTest, PoppingAnEmptyStackThrows)
{
    CappedStack<int> stack(2, true);
    EXPECT_EQ(RuntimeText([&] { (void)stack.Pop(); }), "Cannot pop empty stack");
}

TEST(CappedStackTest, ThePushedValueIsTheTop)
{
    CappedStack<int> stack(3, true);
    stack.Push(1);
    EXPECT_EQ(stack.GetCurrent(), 1);
    EXPECT_EQ(stack.GetFirst(), 1);
    stack.Push(2);
    EXPECT_EQ(stack.GetCurrent(), 2);
    EXPECT_EQ(stack.GetFirst(), 1);
    EXPECT_EQ(stack.Size(), 2U);
    EXPECT_FALSE(stack.Empty());
}

TEST(CappedStackTest, PushingTheCurrentTopAgainChangesNothing)
{
    CappedStack<int> stack(2, true);
    stack.Push(1);
    stack.Push(1);
    EXPECT_EQ(stack.GetItems(), (Items{1}));
    stack.Push(2);
    stack.Push(2);
    EXPECT_EQ(stack.GetItems(), (Items{1, 2}));
}

TEST(CappedStackTest, PushingAValueThatIsNotOnTopIsNoRepetition)
{
    CappedStack<int> stack(3, true);
    stack.Push(1);
    stack.Push(2);
    stack.Push(1);
    EXPECT_EQ(stack.GetItems(), (Items{1, 2, 1}));
}

TEST(CappedStackTest, WithoutUniqueTopARepetitionIsPushed)
{
    CappedStack<int> stack(3, false);
    stack.Push(1);
    stack.Push(1);
    EXPECT_EQ(stack.GetItems(), (Items{1, 1}));
}

TEST(CappedStackTest, PushingAThirdDistinctStateOntoAFullStackOfTwoDropsTheBottomOne)
{
    CappedStack<int> stack(2, true);
    stack.Push(1);
    stack.Push(2);
    stack.Push(3);
    EXPECT_EQ(stack.GetItems(), (Items{2, 3}));
    EXPECT_EQ(stack.GetFirst(), 2);
    EXPECT_EQ(stack.GetCurrent(), 3);
}

TEST(CappedStackTest, PushingTheTopOfAFullStackAgainDropsNothing)
{
    CappedStack<int> stack(2, true);
    stack.Push(1);
    stack.Push(2);
    stack.Push(2);
    EXPECT_EQ(stack.GetItems(), (Items{1, 2}));
}

TEST(CappedStackTest, AStackOfOneHoldsTheLastPushed)
{
    CappedStack<int> stack(1, false);
    stack.Push(1);
    stack.Push(2);
    EXPECT_EQ(stack.GetItems(), (Items{2}));
}

TEST(CappedStackTest, AnItemOfItsOwnMayBePushedOntoAFullStack)
{
    CappedStack<std::string> stack(2, false);
    stack.Push(std::string(100, 'a'));
    stack.Push(std::string(100, 'b'));
    stack.Push(stack.GetFirst());
    EXPECT_EQ(stack.GetItems(), (std::deque<std::string>{std::string(100, 'b'), std::string(100, 'a')}));
    stack.Push(stack[0]);
    EXPECT_EQ(stack.GetCurrent(), std::string(100, 'b'));
}

TEST(CappedStackTest, PopRemovesAndReturnsTheTop)
{
    CappedStack<int> stack = Of({1, 2, 3});
    EXPECT_EQ(stack.Pop(), 3);
    EXPECT_EQ(stack.Pop(), 2);
    EXPECT_EQ(stack.Pop(), 1);
    EXPECT_TRUE(stack.Empty());
}

TEST(CappedStackTest, TryPopIsFalseOnAnEmptyStackAndLeavesTheTargetAsItWas)
{
    CappedStack<int> stack = Of({1});
    int out = 9;
    EXPECT_TRUE(stack.TryPop(out));
    EXPECT_EQ(out, 1);
    out = 9;
    EXPECT_FALSE(stack.TryPop(out));
    EXPECT_EQ(out, 9);
}

TEST(CappedStackTest, TryPopKeepLastNeverTakesTheLastItem)
{
    CappedStack<int> stack = Of({1, 2});
    int out = 9;
    EXPECT_TRUE(stack.TryPopKeepLast(out));
    EXPECT_EQ(out, 2);
    out = 9;
    EXPECT_FALSE(stack.TryPopKeepLast(out));
    EXPECT_EQ(out, 9);
    EXPECT_EQ(stack.GetItems(), (Items{1}));
    stack.Pop();
    EXPECT_FALSE(stack.TryPopKeepLast(out));
}

TEST(CappedStackTest, PopKeepLastOnAOneItemStackLeavesItUnchanged)
{
    CappedStack<int> stack = Of({1, 2, 3});
    stack.PopKeepLast();
    EXPECT_EQ(stack.GetItems(), (Items{1, 2}));
    stack.PopKeepLast();
    EXPECT_EQ(stack.GetItems(), (Items{1}));
    stack.PopKeepLast();
    EXPECT_EQ(stack.GetItems(), (Items{1}));
    CappedStack<int> empty(2, true);
    empty.PopKeepLast();
    EXPECT_TRUE(empty.Empty());
}

TEST(CappedStackTest, IsCurrentComparesWithTheTop)
{
    CappedStack<int> stack = Of({1, 2});
    EXPECT_TRUE(stack.IsCurrent(2));
    EXPECT_FALSE(stack.IsCurrent(1));
    EXPECT_FALSE(CappedStack<int>(2, true).IsCurrent(0));
}

TEST(CappedStackTest, IndexesCountFromTheBottom)
{
    const CappedStack<int> stack = Of({4, 5, 6});
    EXPECT_EQ(stack[0], 4);
    EXPECT_EQ(stack[2], 6);
    EXPECT_THROW((void)stack[3], std::out_of_range);
}

TEST(CappedStackTest, PushAtPushesTheItemOfTheIndexAgain)
{
    CappedStack<int> stack = Of({1, 2, 3});
    stack.PushAt(0, 9);
    EXPECT_EQ(stack.GetItems(), (Items{1, 2, 3, 1}));
    stack.PushAt(stack.Size() - 2, 9);
    EXPECT_EQ(stack.GetCurrent(), 3);
}

TEST(CappedStackTest, PushAtPushesTheFallbackWhereThereIsNoItem)
{
    CappedStack<int> stack = Of({1, 2}, 5);
    stack.PushAt(2, 9);
    EXPECT_EQ(stack.GetItems(), (Items{1, 2, 9}));
    stack.PushAt(std::numeric_limits<std::size_t>::max(), 8); // an index that went below zero
    EXPECT_EQ(stack.GetCurrent(), 8);
    CappedStack<int> empty(2, true);
    empty.PushAt(0, 7);
    EXPECT_EQ(empty.GetItems(), (Items{7}));
}

TEST(CappedStackTest, PushAtOnAFullStackMayPushTheItemThatIsDropped)
{
    CappedStack<std::string> stack(2, true);
    stack.Push(std::string(100, 'a'));
    stack.Push(std::string(100, 'b'));
    stack.PushAt(0, "fallback");
    EXPECT_EQ(stack.GetItems(), (std::deque<std::string>{std::string(100, 'b'), std::string(100, 'a')}));
}

TEST(CappedStackTest, PushAtOfTheTopChangesNothingWhereTheTopIsUnique)
{
    CappedStack<int> stack(2, true);
    stack.Push(1);
    stack.Push(2);
    stack.PushAt(1, 9);
    EXPECT_EQ(stack.GetItems(), (Items{1, 2}));
}

TEST(CappedStackTest, CopiesAreIndependent)
{
    CappedStack<int> stack = Of({1, 2});
    CappedStack<int> copy = stack;
    copy.Push(3);
    EXPECT_EQ(stack.GetItems(), (Items{1, 2}));
    EXPECT_EQ(copy.GetItems(), (Items{1, 2, 3}));
    stack = copy;
    EXPECT_EQ(stack.GetItems(), (Items{1, 2, 3}));
}

TEST(CappedStackTest, BehavesAsAPlainListThatIsCutAtTheBottom)
{
    std::mt19937 random(20240611);
    for (const bool uniqueTop : {false, true})
    {
        for (const std::uint64_t maxSize : {1U, 2U, 3U, 7U})
        {
            CappedStack<int> stack(maxSize, uniqueTop);
            Items model;
            for (int step = 0; step < 2000; ++step)
            {
                const int value = static_cast<int>(random() % 4);
                if (random() % 3 == 0)
                {
                    int out = -1;
                    ASSERT_EQ(stack.TryPop(out), !model.empty());
                    ASSERT_EQ(out, model.empty() ? -1 : model.back());
                    if (!model.empty())
                    {
                        model.pop_back();
                    }
                }
                else
                {
                    stack.Push(value);
                    if (model.empty() || !uniqueTop || model.back() != value)
                    {
                        model.push_back(value);
                    }
                    if (model.size() > maxSize)
                    {
                        model.pop_front();
                    }
                }
                ASSERT_EQ(stack.GetItems(), model);
            }
        }
    }
}

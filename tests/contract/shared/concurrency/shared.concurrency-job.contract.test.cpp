#include "shared.concurrency-job.hpp"

#include "contract.toolrunner.hpp"
#include "shared.concurrency-functions.hpp"
#include "shared.concurrency-process.hpp"
#include "test.support-eventnames.hpp"
#include "test.support-exceptions.hpp"
#include "test.support-time.hpp"

#include <string>
#include <utility>

#include <gtest/gtest.h>

using Contract::AwaitGone;
using Shared::Concurrency::Job;
using Shared::Concurrency::JobLimits;
using Shared::Concurrency::Process;
using Shared::Concurrency::ProcessDescription;
using Shared::Concurrency::WaitFor;
using TestSupport::EventNames;
using TestSupport::InvalidArgumentText;
using TestSupport::LimitMs;
using TestSupport::QuietMs;
using TestSupport::RuntimeText;
using TestSupport::Win32Text;

namespace
{

/// A process that waits to be ended, and is at the latest with this object.
class Waiting
{
public:
    Waiting() : m_process(Describe())
    {
        m_process.Start();
    }

    Waiting(const Waiting&) = delete;
    Waiting& operator=(const Waiting&) = delete;

    ~Waiting()
    {
        Contract::KillProcess(m_process.GetProcessId());
    }

    Shared::Raii::RawHandle Handle() const
    {
        return m_process.GetProcessHandle();
    }

    bool HasEnded(std::uint32_t withinMs) const
    {
        return WaitFor(Handle(), withinMs);
    }

private:
    static ProcessDescription Describe()
    {
        ProcessDescription description;
        description.executablePath = Contract::ProgramFile(Contract::ProbeTool);
        description.commandLine = L"probe --hang";
        description.creationFlags = 0x8000000; // without a window
        return description;
    }

    Process m_process;
};

Job MakeKillingJob()
{
    Job job;
    job.Create(false);
    job.SetInformation({JobLimits::KillOnJobClose});
    return job;
}

} // namespace

TEST(JobTest, WithoutCreateThereIsNone)
{
    const Job job;
    EXPECT_FALSE(job.IsValid());
    EXPECT_EQ(job.GetHandle(), nullptr);
    EXPECT_EQ(job.GetName(), L"");
}

TEST(JobTest, ANameIsKeptAndMakesNoJobYet)
{
    const Job job(L"some name");
    EXPECT_FALSE(job.IsValid());
    EXPECT_EQ(job.GetName(), L"some name");
}

TEST(JobTest, ClosingItEndsItsProcess)
{
    const Waiting process;
    Job job = MakeKillingJob();
    job.AssignProcessToThisJob(process.Handle());
    EXPECT_FALSE(process.HasEnded(QuietMs));
    job.Close();
    EXPECT_FALSE(job.IsValid());
    EXPECT_TRUE(process.HasEnded(LimitMs));
}

TEST(JobTest, ClosingItEndsAllOfItsProcesses)
{
    const Waiting first;
    const Waiting second;
    Job job = MakeKillingJob();
    job.AssignProcessToThisJob(first.Handle());
    job.AssignProcessToThisJob(second.Handle());
    job.Close();
    EXPECT_TRUE(first.HasEnded(LimitMs));
    EXPECT_TRUE(second.HasEnded(LimitMs));
}

TEST(JobTest, AProcessOutsideOfItLivesOn)
{
    const Waiting inside;
    const Waiting outside;
    Job job = MakeKillingJob();
    job.AssignProcessToThisJob(inside.Handle());
    job.Close();
    EXPECT_TRUE(inside.HasEnded(LimitMs));
    EXPECT_FALSE(outside.HasEnded(QuietMs));
}

TEST(JobTest, ItsDestructorEndsItsProcess)
{
    const Waiting process;
    {
        Job job = MakeKillingJob();
        job.AssignProcessToThisJob(process.Handle());
    }
    EXPECT_TRUE(process.HasEnded(LimitMs));
}

TEST(JobTest, AnotherJobMovedIntoItsPlaceEndsItsProcess)
{
    const Waiting process;
    Job job = MakeKillingJob();
    job.AssignProcessToThisJob(process.Handle());
    job = MakeKillingJob();
    EXPECT_TRUE(process.HasEnded(LimitMs));
    EXPECT_TRUE(job.IsValid());
}

TEST(JobTest, WithoutTheLimitClosingItEndsNothing)
{
    const Waiting process;
    Job job;
    job.Create(false);
    job.AssignProcessToThisJob(process.Handle());
    job.Close();
    EXPECT_FALSE(process.HasEnded(QuietMs));
}

TEST(JobTest, TheLimitCanBeSetWhenProcessesAreInIt)
{
    const Waiting process;
    Job job;
    job.Create(false);
    job.AssignProcessToThisJob(process.Handle());
    job.SetInformation({JobLimits::KillOnJobClose});
    job.SetInformation({JobLimits::KillOnJobClose});
    job.Close();
    EXPECT_TRUE(process.HasEnded(LimitMs));
}

TEST(JobTest, TheLimitCanBeTakenBack)
{
    const Waiting process;
    Job job = MakeKillingJob();
    job.AssignProcessToThisJob(process.Handle());
    job.SetInformation({0});
    job.Close();
    EXPECT_FALSE(process.HasEnded(QuietMs));
}

TEST(JobTest, ACopyIsTheSameJobAndTheLastOneEndsTheProcess)
{
    const Waiting process;
    Job job = MakeKillingJob();
    job.AssignProcessToThisJob(process.Handle());
    Job copy = job;
    Job assigned;
    assigned = copy;
    job.Close();
    copy.Close();
    EXPECT_FALSE(process.HasEnded(QuietMs));
    assigned.Close();
    EXPECT_TRUE(process.HasEnded(LimitMs));
}

TEST(JobTest, MovingHandsTheJobOver)
{
    const Waiting process;
    Job job = MakeKillingJob();
    job.AssignProcessToThisJob(process.Handle());
    Job moved = std::move(job);
    EXPECT_FALSE(job.IsValid()); // NOLINT(bugprone-use-after-move): what is left behind is told
    EXPECT_FALSE(process.HasEnded(QuietMs));
    moved.Close();
    EXPECT_TRUE(process.HasEnded(LimitMs));
}

TEST(JobTest, AProcessInTwoJobsEndsWithTheFirstThatIsClosed)
{
    const Waiting process;
    Job outer = MakeKillingJob();
    Job inner = MakeKillingJob();
    outer.AssignProcessToThisJob(process.Handle());
    inner.AssignProcessToThisJob(process.Handle());
    inner.Close();
    EXPECT_TRUE(process.HasEnded(LimitMs));
}

TEST(JobTest, ItCanBeOpenedByNameAndClosingTheLastHandleEndsTheProcess)
{
    const EventNames names;
    const Waiting process;
    Job made(names.Unique(L"A job of name/with signs \u00e4"));
    made.Create(false);
    made.SetInformation({JobLimits::KillOnJobClose});
    Job opened(made.GetName());
    opened.Open(false);
    opened.AssignProcessToThisJob(process.Handle());
    made.Close();
    EXPECT_FALSE(process.HasEnded(QuietMs));
    opened.Close();
    EXPECT_TRUE(process.HasEnded(LimitMs));
}

TEST(JobTest, CreatingOneOfANameThatIsInUseOpensThatOne)
{
    const EventNames names;
    const Waiting process;
    Job first(names.Unique(L"job"));
    first.Create(false);
    first.SetInformation({JobLimits::KillOnJobClose});
    first.AssignProcessToThisJob(process.Handle());
    Job second(first.GetName());
    second.Create(false);
    first.Close();
    EXPECT_FALSE(process.HasEnded(QuietMs));
    second.Close();
    EXPECT_TRUE(process.HasEnded(LimitMs));
}

TEST(JobTest, ANameOfWhichNobodyHoldsAJobCannotBeOpened)
{
    const EventNames names;
    Job job(names.Unique(L"nobody's"));
    EXPECT_EQ(Win32Text([&] { job.Open(false); }), "OpenJobObjectW() failed");
    EXPECT_FALSE(job.IsValid());
    // Nor one that was there.
    job.Create(false);
    job.Close();
    EXPECT_EQ(Win32Text([&] { job.Open(false); }), "OpenJobObjectW() failed");
}

TEST(JobTest, WhetherChildrenInheritItIsChosen)
{
    const EventNames names;
    for (const bool inheritable : {false, true})
    {
        Job unnamed;
        unnamed.Create(inheritable);
        Job named(names.Unique(L"job"));
        named.Create(inheritable);
        Job opened(named.GetName());
        opened.Open(inheritable);
        for (const Job* const job : {&unnamed, &named, &opened})
        {
            bool answer = !inheritable;
            ASSERT_TRUE(Shared::Raii::Native::QueryInheritability(job->GetHandle(), answer));
            EXPECT_EQ(answer, inheritable);
        }
    }
}

TEST(JobTest, WithoutAJobNothingCanBeDone)
{
    const Waiting process;
    Job job;
    EXPECT_EQ(RuntimeText([&] { job.AssignProcessToThisJob(process.Handle()); }), "Job is not initialised");
    EXPECT_EQ(RuntimeText([&] { job.SetInformation({JobLimits::KillOnJobClose}); }), "Job is not initialised");
    job.Close();
    job.Close();
}

TEST(JobTest, NoProcessCannotBeAssigned)
{
    Job job = MakeKillingJob();
    EXPECT_EQ(InvalidArgumentText([&] { job.AssignProcessToThisJob(nullptr); }), "Process is null.");
}

TEST(JobTest, WhatIsNoProcessCannotBeAssigned)
{
    Job job = MakeKillingJob();
    const Job other = MakeKillingJob();
    EXPECT_EQ(Win32Text([&] { job.AssignProcessToThisJob(other.GetHandle()); }), "AssignProcessToJobObject() failed.");
}

TEST(JobTest, ALimitThatTheSystemDoesNotKnowIsRefused)
{
    constexpr std::uint32_t Unknown = 0x80000000;
    Job job;
    job.Create(false);
    EXPECT_EQ(Win32Text([&] { job.SetInformation({Unknown}); }), "SetInformationJobObject() failed");
}

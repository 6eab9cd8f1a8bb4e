#include "task/tasklist.h"

#include <gtest/gtest.h>

#include <vector>

#include "support/tasks.h"

namespace NS_UTIL {
namespace {

using namespace nbitest;

class TaskListTest : public ::testing::Test {
protected:
    std::vector<NBITask*> Content() const
    {
        std::vector<NBITask*> tasks;
        for (NBITask* pTask = m_List.First(); pTask != nullptr; pTask = m_List.After(*pTask)) {
            tasks.push_back(pTask);
        }
        return tasks;
    }
    AD m_Descriptor;
    TestTask m_A{m_Descriptor};
    TestTask m_B{m_Descriptor};
    TestTask m_C{m_Descriptor};
    TaskList m_List;
};
using Tasks = std::vector<NBITask*>;

TEST_F(TaskListTest, FreshListIsEmpty)
{
    EXPECT_TRUE(m_List.IsEmpty());
    EXPECT_EQ(m_List.First(), nullptr);
    EXPECT_EQ(m_List.Last(), nullptr);
    EXPECT_EQ(m_List.TakeFirst(), nullptr);
}

TEST_F(TaskListTest, TasksAreAppendedAtTheBack)
{
    m_List.Append(m_A);
    m_List.Append(m_B);
    EXPECT_EQ(Content(), (Tasks{&m_A, &m_B}));
    EXPECT_EQ(m_List.First(), &m_A);
    EXPECT_EQ(m_List.Last(), &m_B);
    EXPECT_FALSE(m_List.IsEmpty());
}

TEST_F(TaskListTest, TaskIsUnlinkedWhereverItStands)
{
    for (TestTask* const pTask : {&m_A, &m_B, &m_C}) m_List.Append(*pTask);
    TaskList::Unlink(m_B);
    EXPECT_EQ(Content(), (Tasks{&m_A, &m_C}));
    TaskList::Unlink(m_C);
    EXPECT_EQ(Content(), Tasks{&m_A});
    TaskList::Unlink(m_A);
    EXPECT_TRUE(m_List.IsEmpty());
}

TEST_F(TaskListTest, TakeFirstUnlinks)
{
    m_List.Append(m_A);
    m_List.Append(m_B);
    EXPECT_EQ(m_List.TakeFirst(), &m_A);
    EXPECT_EQ(Content(), Tasks{&m_B});
}

TEST_F(TaskListTest, TakeAllMovesBehindWhatIsThere)
{
    TaskList other;
    m_List.Append(m_A);
    other.Append(m_B);
    other.Append(m_C);
    m_List.TakeAll(other);
    EXPECT_EQ(Content(), (Tasks{&m_A, &m_B, &m_C}));
    EXPECT_TRUE(other.IsEmpty());
    m_List.TakeAll(other);
    EXPECT_EQ(Content(), (Tasks{&m_A, &m_B, &m_C}));
    other.TakeAll(m_List);
    EXPECT_TRUE(m_List.IsEmpty());
    EXPECT_EQ(other.Last(), &m_C);
}

}  // namespace
}  // namespace NS_UTIL

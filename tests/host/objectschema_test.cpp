#include "nbihost/objectschema.h"

#include <gtest/gtest.h>

namespace {

TEST(ObjectSchemaTest, MarkedAttributesAreKept)
{
    ObjectSchema_T schema;
    __SetDirty(schema, "name");
    __SetDirty(schema, "state");
    __SetDirty(schema, "name");
    EXPECT_EQ(schema.m_DirtyAttributes, (std::set<std::string>{"name", "state"}));
}

TEST(ObjectSchemaTest, NoNameMarksNothing)
{
    ObjectSchema_T schema;
    __SetDirty(schema, nullptr);
    EXPECT_TRUE(schema.m_DirtyAttributes.empty());
}

}  // namespace

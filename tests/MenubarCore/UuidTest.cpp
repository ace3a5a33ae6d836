#include "Uuid.h"

#include <set>

#include <gtest/gtest.h>

namespace corvane {
namespace {

TEST(Uuid, CanonicalUpperCaseVersion4AndDistinct) {
    std::set<std::string> seen;
    for (int i = 0; i < 2000; ++i) {
        std::string id = makeUuid();
        ASSERT_EQ(id.size(), 36u) << id;
        for (std::size_t j = 0; j < id.size(); ++j) {
            if (j == 8 || j == 13 || j == 18 || j == 23)
                ASSERT_EQ(id[j], '-') << id;
            else
                ASSERT_TRUE((id[j] >= '0' && id[j] <= '9') || (id[j] >= 'A' && id[j] <= 'F')) << id;
        }
        EXPECT_EQ(id[14], '4') << id;
        EXPECT_NE(std::string("89AB").find(id[19]), std::string::npos) << id;
        seen.insert(id);
    }
    EXPECT_EQ(seen.size(), 2000u);
}

}  // namespace
}  // namespace corvane

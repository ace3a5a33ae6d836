#include "Uuid.h"

#include <set>

#include <gtest/gtest.h>

namespace corvane {
namespace {

TEST(Uuid, CanonicalUpperCaseVersion4AndDistinct) {
    std::set<std::string> seen;
    for (int i = 0; i < 2000; ++i) {
        std::string id = makeUuid();
        // x: an upper-case hex digit, y: one of 8, 9, A, B.
        const std::string shape = "xxxxxxxx-xxxx-4xxx-yxxx-xxxxxxxxxxxx";
        ASSERT_EQ(id.size(), shape.size()) << id;
        for (std::size_t j = 0; j < id.size(); ++j) {
            const std::string allowed = shape[j] == 'x' ? "0123456789ABCDEF" : shape[j] == 'y' ? "89AB" : shape.substr(j, 1);
            ASSERT_NE(allowed.find(id[j]), std::string::npos) << id;
        }
        seen.insert(id);
    }
    EXPECT_EQ(seen.size(), 2000u);
}

}  // namespace
}  // namespace corvane

#include "tests/support/FailingAllocation.h"

#include <kqplayer/com.h>
#include <kqplayer/identifiers.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace {

using namespace kq::test;

TEST(FailingAllocation, ReachesIntoTheComponentsLibrary) {
    void* factory = nullptr;
    const auto make = [&factory] {
        return DllGetClassObject(CLSID_CMediaPlayer, IID_IClassFactory, &factory);
    };
    std::vector<std::int32_t> results;
    const int failures = FailEachAllocation(make, [&](std::int32_t result, bool) {
        results.push_back(result);
        if (factory != nullptr) {
            static_cast<IClassFactory*>(factory)->Release();
        }
    });
    EXPECT_EQ(failures, 1);
    EXPECT_EQ(results, (std::vector<std::int32_t>{kq::OutOfMemory, kq::Ok}));
}

TEST(FailingAllocation, FailsOnceAndThrowsWhereNewThrows) {
    const FailingAllocation failing(2);
    std::vector<std::string> texts(1);
    EXPECT_FALSE(failing.HasFailed());
    EXPECT_THROW(texts[0].assign(1000, 'x'), std::bad_alloc);
    EXPECT_TRUE(failing.HasFailed());
    EXPECT_NO_THROW(texts[0].assign(1000, 'x'));
    EXPECT_EQ(failing.Count(), 3);
}

} // namespace

#include "support/SharedResource.h"

#include "support/DescriptorStorage.h"
#include "support/FileHandleResManager.h"
#include "support/PointerStorage.h"
#include "support/RaisedException.h"
#include "support/System.h"
#include "tests/behaviour/SimulatedPc.h"

namespace {

struct Recorder {
    // Destroys the thread's last error too, as a closing call may.
    static void destroy(int descriptor) noexcept {
        destroyed.push_back(descriptor);
        SetLastError(ERROR_INVALID_HANDLE);
    }
    static inline std::vector<int> destroyed;
};

struct Counted {
    int value = 5;
};

template <class Counting>
class SharedResource : public ::testing::Test {
protected:
    using Holder = zor::SharedResource<zor::DescriptorStorage<int, -1, Recorder>, Counting::value>;

    void SetUp() override { Recorder::destroyed.clear(); }
};

using Countings = ::testing::Types<std::integral_constant<int, 0>, std::integral_constant<int, 1>>;
TYPED_TEST_SUITE(SharedResource, Countings);

TYPED_TEST(SharedResource, IsReleasedOnceByItsLastHolder) {
    using Shared = typename TestFixture::Holder;
    {
        Shared first(3);
        Shared second(first);
        Shared third;
        third = second;
        Shared moved(std::move(first));
        EXPECT_FALSE(first.isValid());
        EXPECT_EQ(first.get(), -1);
        second.release();
        second.release();
        third = Shared(4);
        EXPECT_TRUE(Recorder::destroyed.empty());
        EXPECT_EQ(moved.get(), 3);
        Shared& self = moved;
        moved = self;
        EXPECT_EQ(moved.get(), 3);
    }
    EXPECT_EQ(Recorder::destroyed, (std::vector<int>{3, 4}));
    { const Shared none(-1), zero(0); }
    EXPECT_EQ(Recorder::destroyed, (std::vector<int>{3, 4, 0}));
}

TYPED_TEST(SharedResource, KeepsTheLastErrorWhileItCloses) {
    SetLastError(ERROR_ACCESS_DENIED);
    { const typename TestFixture::Holder holder(3); }
    EXPECT_EQ(zor::System::getSystemError(), static_cast<zor::Uint32>(ERROR_ACCESS_DENIED));
    EXPECT_EQ(Recorder::destroyed.size(), 1u);
}

class EmptyHolder : public SimulatedPc {};

TEST_F(EmptyHolder, IsMisuseToLookInto) {
    const zor::SharedResource<zor::PointerStorage<Counted, 0, 3>, 0> empty;
    EXPECT_THROW(empty->value = 1, zor::RaisedException);
    EXPECT_THROW(*empty, zor::RaisedException);
    ASSERT_EQ(log.size(), 2u);
    EXPECT_NE(log[0].text.find("support/SharedResource.h: assertion failed: isValid()"), std::string::npos)
        << log[0].text;
}

class SharedFile : public SimulatedPc {};

TEST_F(SharedFile, IsOpenUntilTheLastHolderGoes) {
    using Holder = zor::SharedResource<zor::DescriptorStorage<HANDLE, -1, zor::FileHandleResManager>, 0>;
    machine.files[u"C:\\here.txt"] = {};
    zor::CreateFileOpenArgs arguments;
    arguments.path = "C:\\here.txt";
    arguments.access = GENERIC_READ;
    Holder file(zor::FileHandleResManager::open(arguments));
    ASSERT_TRUE(file.isValid());
    Holder copy(file);
    file.release();
    EXPECT_EQ(simulation::ledger().count(simulation::Resource::File), 1u);
    copy = Holder();
    EXPECT_TRUE(simulation::ledger().empty());

    arguments.path = "C:\\missing.txt";
    const Holder missing(zor::FileHandleResManager::open(arguments));
    EXPECT_FALSE(missing.isValid());
    EXPECT_EQ(missing.get(), INVALID_HANDLE_VALUE);
    EXPECT_EQ(zor::System::getSystemError(), static_cast<zor::Uint32>(ERROR_FILE_NOT_FOUND));
}

}  // namespace

#include "CBkModuleClnt.h"

#include <filesystem>

#include <dlfcn.h>
#include <gtest/gtest.h>

#include "CIPtr.h"
#include "CModule.h"
#include "ISubInfo.h"
#include "SubscriptionDatabase.h"

namespace {

const std::string library = SUBSCRIPTION_DATABASE;
const std::string libraryWithoutEntry = SUBSCRIPTION_DATABASE_WITHOUT_ENTRY;

// --- CIPtr

struct Counter {
    int released = 0;
    int used = 0;
    void Release() { ++released; }
    void use() { ++used; }
};

TEST(InterfacePointer, ReleasesOnScopeExit) {
    Counter counter;
    { const CIPtr<Counter> pointer(&counter); }
    EXPECT_EQ(counter.released, 1);
}

TEST(InterfacePointer, ReleasesNothingWhenItHoldsNothing) {
    const CIPtr<Counter> pointer;
    EXPECT_FALSE(pointer);
}

TEST(InterfacePointer, ReachesTheInterface) {
    Counter counter;
    const CIPtr<Counter> pointer(&counter);
    EXPECT_TRUE(pointer);
    pointer->use();
    (*pointer).use();
    EXPECT_EQ(counter.used, 2);
}

TEST(InterfacePointer, ReleasesTheOldInterfaceForANewOne) {
    Counter first;
    Counter second;
    CIPtr<Counter> pointer(&first);
    pointer.reset(&second);
    EXPECT_EQ(first.released, 1);
    EXPECT_EQ(second.released, 0);
    pointer.reset();
    EXPECT_EQ(second.released, 1);
    EXPECT_FALSE(pointer);
}

TEST(InterfacePointer, ReceivesWhatAnOperationHandsOver) {
    Counter first;
    Counter second;
    {
        CIPtr<Counter> pointer(&first);
        *pointer.receive() = &second;
        EXPECT_EQ(first.released, 1);
        EXPECT_TRUE(pointer);
    }
    EXPECT_EQ(second.released, 1);
}

// --- CModule

TEST(Module, LoadsALibraryAndUnloadsItAtItsEnd) {
    {
        CModule module;
        EXPECT_TRUE(module.Load(library));
        EXPECT_EQ(subscriptionLog(), "loaded\n");
    }
    EXPECT_EQ(subscriptionLog(), "loaded\nunloaded, owed 0\n");
}

TEST(Module, LoadsALibraryFromThePathOfTheSuite) {
    installSubscriptionDatabase(library, "");
    CModule module;
    EXPECT_TRUE(module.Load(subscriptionLibraryPath));
}

TEST(Module, UnloadsWhenAsked) {
    CModule module;
    ASSERT_TRUE(module.Load(library));
    module.Unload();
    EXPECT_EQ(subscriptionLog(), "loaded\nunloaded, owed 0\n");
    module.Unload();
    EXPECT_EQ(subscriptionLog(), "loaded\nunloaded, owed 0\n");
}

TEST(Module, UnloadsTheLibraryItHoldsBeforeItLoadsAnother) {
    CModule module;
    ASSERT_TRUE(module.Load(library));
    ASSERT_TRUE(module.Load(libraryWithoutEntry));
    EXPECT_EQ(subscriptionLog(), "loaded\nunloaded, owed 0\nloaded\n");
}

TEST(Module, UnloadsTheLibraryItHoldsEvenWhenTheOtherCannotBeLoaded) {
    CModule module;
    ASSERT_TRUE(module.Load(library));
    EXPECT_FALSE(module.Load("/usr/local/Brovik/qrn/lib/missing.dylib"));
    EXPECT_EQ(subscriptionLog(), "loaded\nunloaded, owed 0\n");
}

TEST(Module, DoesNotLoadWhatIsMissingOrNoLibrary) {
    CModule module;
    EXPECT_FALSE(module.Load("/usr/local/Brovik/qrn/lib/missing.dylib"));
    writeText("/tmp/text.dylib", "not a library");
    EXPECT_FALSE(module.Load("/tmp/text.dylib"));
    EXPECT_FALSE(module.Load("/tmp"));
}

// --- CBkModuleClnt

TEST(ModuleClient, ObtainsTheClassFactory) {
    {
        CBkModuleClnt client;
        EXPECT_TRUE(client.Init(library));
    }
    EXPECT_EQ(subscriptionLog(), "loaded\nunloaded, owed 0\n");
}

TEST(ModuleClient, MakesAnObjectByKeyAndInterface) {
    CBkModuleClnt client;
    ASSERT_TRUE(client.Init(library));
    CIPtr<ISubInfo> subInfo;
    EXPECT_TRUE(client.CreateObject("brovik/subinfo", subInfo.receive()));
    EXPECT_TRUE(subInfo);
}

TEST(ModuleClient, MakesNothingForAnUnknownKey) {
    CBkModuleClnt client;
    ASSERT_TRUE(client.Init(library));
    CIPtr<ISubInfo> subInfo;
    EXPECT_FALSE(client.CreateObject("brovik/other", subInfo.receive()));
    EXPECT_FALSE(subInfo);
}

TEST(ModuleClient, MakesNothingBeforeItIsInitialised) {
    CBkModuleClnt client;
    CIPtr<ISubInfo> subInfo;
    EXPECT_FALSE(client.CreateObject("brovik/subinfo", subInfo.receive()));
    EXPECT_FALSE(subInfo);
}

TEST(ModuleClient, ReleasesTheFactoryBeforeTheLibraryIsUnloaded) {
    CBkModuleClnt client;
    ASSERT_TRUE(client.Init(library));
    client.Unload();
    EXPECT_EQ(subscriptionLog(), "loaded\nunloaded, owed 0\n");
    CIPtr<ISubInfo> subInfo;
    EXPECT_FALSE(client.CreateObject("brovik/subinfo", subInfo.receive()));
}

TEST(ModuleClient, ReleasesTheFactoryBeforeItLoadsAnotherLibrary) {
    CBkModuleClnt client;
    ASSERT_TRUE(client.Init(library));
    EXPECT_FALSE(client.Init(libraryWithoutEntry));
    EXPECT_EQ(subscriptionLog(), "loaded\nunloaded, owed 0\nloaded\n");
}

TEST(ModuleClient, IsNotInitialisedWithoutALibrary) {
    CBkModuleClnt client;
    EXPECT_FALSE(client.Init("/usr/local/Brovik/qrn/lib/missing.dylib"));
}

TEST(ModuleClient, IsNotInitialisedWithoutTheEntry) {
    CBkModuleClnt client;
    EXPECT_FALSE(client.Init(libraryWithoutEntry));
    EXPECT_EQ(subscriptionLog(), "loaded\n");
}

struct Refusal {
    const char *name;
    const char *data;
};

class ModuleClientRefused : public testing::TestWithParam<Refusal> {};

TEST_P(ModuleClientRefused, IsNotInitialised) {
    writeText(subscriptionDataPath, GetParam().data);
    {
        CBkModuleClnt client;
        EXPECT_FALSE(client.Init(library));
    }
    EXPECT_EQ(subscriptionLog(), "loaded\nunloaded, owed 0\n");
}

INSTANTIATE_TEST_SUITE_P(
    Entries, ModuleClientRefused,
    testing::Values(Refusal{"PositiveResult", "gcf-result 1\n"}, Refusal{"NegativeResult", "gcf-result -1\n"},
                    Refusal{"FactoryThoughFailed", "gcf-result 1\nobjects-though-failed\n"},
                    Refusal{"NoFactory", "no-factory\n"}),
    [](const auto &instance) { return instance.param.name; });

class ModuleClientWithoutObject : public testing::TestWithParam<Refusal> {};

TEST_P(ModuleClientWithoutObject, MakesNothing) {
    writeText(subscriptionDataPath, GetParam().data);
    {
        CBkModuleClnt client;
        ASSERT_TRUE(client.Init(library));
        CIPtr<ISubInfo> subInfo;
        EXPECT_FALSE(client.CreateObject("brovik/subinfo", subInfo.receive()));
        EXPECT_FALSE(subInfo);
    }
    EXPECT_EQ(subscriptionLog(), "loaded\nunloaded, owed 0\n");
}

INSTANTIATE_TEST_SUITE_P(Factories, ModuleClientWithoutObject,
                         testing::Values(Refusal{"NegativeResult", "subinfo-result -1\n"},
                                         Refusal{"ObjectThoughFailed",
                                                 "subinfo-result -1\nobjects-though-failed\n"},
                                         Refusal{"NoObject", "no-subinfo\n"}),
                         [](const auto &instance) { return instance.param.name; });

TEST(ModuleClient, TakesEveryNonNegativeResultForSuccess) {
    writeText(subscriptionDataPath, "subinfo-result 1\n");
    CBkModuleClnt client;
    ASSERT_TRUE(client.Init(library));
    CIPtr<ISubInfo> subInfo;
    EXPECT_TRUE(client.CreateObject("brovik/subinfo", subInfo.receive()));
}

} // namespace

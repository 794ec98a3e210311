#include "com/Factory.h"

#include "com/Unknown.h"
#include "com/UuidOf.h"
#include "tests/support/PlayerHost.h"

#include <kqplayer/convenience.h>
#include <kqplayer/kqplayer.h>

#include <gtest/gtest.h>

namespace {

using kq::test::PlayerHost;

void* const untouched = reinterpret_cast<void*>(0x1234);

kq::ComPtr<IClassFactory> GetFactory() {
    void* p = nullptr;
    EXPECT_EQ(DllGetClassObject(CLSID_CMediaPlayer, IID_IClassFactory, &p), 0);
    return kq::ComPtr<IClassFactory>::Adopt(static_cast<IClassFactory*>(p));
}

TEST(ClassObject, IsGivenOnlyForTheKnownClassAndFactoryInterfaces) {
    const struct {
        const _GUID& rclsid;
        const _GUID& riid;
        std::int32_t result;
    } cases[] = {
        {CLSID_CMediaPlayer, IID_IClassFactory, kq::Ok},
        {CLSID_CMediaPlayer, IID_IUnknown, kq::Ok},
        {CLSID_CMediaPlayer, IID_IMediaPlayer, kq::NoInterface},
        {IID_IMediaPlayer, IID_IClassFactory, kq::ClassNotAvailable},
        {IID_IMediaPlayer, IID_IMediaPlayer, kq::NoInterface},
    };
    for (const auto& c : cases) {
        void* p = untouched;
        EXPECT_EQ(DllGetClassObject(c.rclsid, c.riid, &p), c.result);
        if (c.result != kq::Ok) {
            EXPECT_EQ(p, untouched);
        } else {
            EXPECT_EQ(static_cast<IUnknown*>(p)->Release(), 0u);
        }
    }
}

TEST(ClassFactory, MakesPlayersAndRefusesTheRest) {
    const auto factory = GetFactory();
    void* p = nullptr;
    ASSERT_EQ(factory->CreateInstance(nullptr, IID_IMediaPlayer, &p), 0);
    EXPECT_EQ(static_cast<IMediaPlayer*>(p)->Release(), 0u);

    p = untouched;
    EXPECT_EQ(factory->CreateInstance(nullptr, IID_IPlayerView, &p), kq::NoInterface);
    EXPECT_EQ(p, nullptr);

    PlayerHost outer;
    IUnknown* const outerUnknown = outer.Get();
    p = untouched;
    EXPECT_EQ(factory->CreateInstance(outerUnknown, IID_IMediaPlayer, &p), kq::NoAggregation);
    EXPECT_EQ(p, untouched);
    ASSERT_EQ(factory->CreateInstance(outerUnknown, IID_IUnknown, &p), 0);
    EXPECT_FALSE(scombase::IsEqualObject(static_cast<IUnknown*>(p), outerUnknown)); // it owns itself
    EXPECT_EQ(static_cast<IUnknown*>(p)->Release(), 0u);
}

TEST(ClassFactory, CountsServerLocks) {
    const auto factory = GetFactory();
    const std::int32_t before = CFactory::s_cServerLocks;
    EXPECT_EQ(factory->LockServer(1), 0);
    EXPECT_EQ(factory->LockServer(1), 0);
    EXPECT_EQ(factory->LockServer(0), 0);
    EXPECT_EQ(CFactory::s_cServerLocks, before + 1);
    EXPECT_EQ(DllCanUnloadNow(), 0);
    factory->LockServer(0);
}

TEST(ObjectIdentity, IsOneForAllInterfacesOfAnObject) {
    PlayerHost host;
    PlayerHost other;
    void* p = untouched;
    const auto audio = kq::ComPtr<IMediaPlayer>::Share(host.Get()).As<IAudioInput>();
    EXPECT_TRUE(scombase::IsEqualObject(audio.Get(), host.Get()));
    EXPECT_FALSE(scombase::IsEqualObject(other.Get(), host.Get()));
    EXPECT_FALSE(scombase::IsEqualObject(nullptr, host.Get()));
    EXPECT_EQ(host->QueryInterface(IID_IUnknown, nullptr), kq::NullPointer);
    EXPECT_EQ(host->QueryInterface(IID_IMediaPlayer, nullptr), kq::NullPointer);
    EXPECT_EQ(host->QueryInterface(IID_IDibImage, &p), kq::NoInterface);
    EXPECT_EQ(p, nullptr);
}

TEST(Identifiers, AgreeInBinaryAndTextForm) {
    EXPECT_EQ(uuidof_class<IMediaPlayer>::get_guid(), IID_IMediaPlayer);
    EXPECT_EQ(uuidof_class<IMediaPlayer2>::get_guid(), IID_IMediaPlayer2);
    EXPECT_EQ(uuidof_class<IAudioInput>::get_guid(), IID_IAudioInput);
    EXPECT_EQ(uuidof_class<IPlayerViewMgr>::get_guid(), IID_IPlayerViewMgr);
    EXPECT_EQ(uuidof_class<IPlayerView>::get_guid(), IID_IPlayerView);
    EXPECT_EQ(uuidof_class<IPlayerView2>::get_guid(), IID_IPlayerView2);
    ASSERT_EQ(g_cTemplates, 1);
    EXPECT_STREQ(g_Templates[0].m_pName, L"Create KQPLAYER");
    EXPECT_EQ(*g_Templates[0].m_pClassId, CLSID_CMediaPlayer);
}

} // namespace

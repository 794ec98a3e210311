#include "com/Factory.h"

#include <kqplayer/identifiers.h>

std::int32_t DllGetClassObject(const _GUID& rclsid, const _GUID& riid, void** ppv) {
    return CFactory::GetClassObject(rclsid, riid, ppv);
}

std::int32_t DllCanUnloadNow() {
    return CFactory::CanUnloadNow();
}

std::int32_t DllRegisterServer() {
    return CFactory::RegisterAll();
}

std::int32_t DllUnregisterServer() {
    return CFactory::UnregisterAll();
}

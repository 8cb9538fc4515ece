#include "libSysmira/utils/TouchProperty.h"

#include "libSysmira/utils/LoadedFunction.h"
#include "libSysmira/wmi/Wmi.h"

namespace libSysmira {

namespace {

using GetPropertyStore = HRESULT(WINAPI*)(HWND window, REFIID interfaceId, void** store);

constexpr IID PropertyStoreId = {
    0x886D8EEB, 0x8CF2, 0x4446, {0x8D, 0x02, 0xCD, 0xBA, 0x1D, 0xBD, 0xCF, 0x99}};
constexpr PROPERTYKEY DisableTouchWhenFullScreen = {
    {0x32CE38B2, 0x2C9A, 0x41B1, {0x9B, 0xC5, 0xB3, 0x78, 0x43, 0x94, 0xAA, 0x44}}, 2};

LoadedFunction<GetPropertyStore> theGetPropertyStore;

}  // namespace

void SetTouchDisableProperty(HWND window, int disable) {
    GetPropertyStore getPropertyStore = theGetPropertyStore.get();
    if (getPropertyStore == nullptr)
        getPropertyStore = theGetPropertyStore.find("shell32.dll", "SHGetPropertyStoreForWindow");
    if (getPropertyStore == nullptr) return;
    IPropertyStore* found = nullptr;
    if (FAILED(getPropertyStore(window, PropertyStoreId, reinterpret_cast<void**>(&found))) ||
        found == nullptr)
        return;
    const ComPointer<IPropertyStore> store(found);
    PROPVARIANT value = {};
    value.vt = VT_BOOL;
    value.boolVal = disable != 0 ? VARIANT_TRUE : VARIANT_FALSE;
    store.get()->SetValue(DisableTouchWhenFullScreen, value);
}

void forgetWindowProperties() { theGetPropertyStore.forget(); }

}  // namespace libSysmira

// The counted life and interface lookup every small COM object of the window shares: derive
// from ComObject<Interface, Parents...> (the interfaces it answers besides IUnknown) and
// implement the interface's own methods. Objects start with one reference, the creator's.
#pragma once
#include "services/base.h"

#include <objbase.h>

template <typename Interface, typename... Parents>
struct ComObject : Interface {
  virtual ~ComObject() = default;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
    if (!out) return E_POINTER;
    if (IsEqualIID(iid, IID_IUnknown) || IsEqualIID(iid, __uuidof(Interface)) ||
        (IsEqualIID(iid, __uuidof(Parents)) || ...)) {
      *out = static_cast<Interface*>(this);
      AddRef();
      return S_OK;
    }
    *out = nullptr;
    return E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return static_cast<ULONG>(InterlockedIncrement(&references)); }
  ULONG STDMETHODCALLTYPE Release() override {
    LONG left = InterlockedDecrement(&references);
    if (!left) delete this;
    return static_cast<ULONG>(left);
  }

 private:
  LONG references = 1;
};

// Libraries loaded at run time by file name. A library is loaded when first asked for and
// never unloaded; its entry points are looked up again by name before every call, so a
// missing library or entry point is a null pointer, never a crash.
//
// Each library declares its whole contract once, as a list of X(name, result, parameters):
//
//   #define UXTHEME_API_LIST(X) X(IsThemeActive, BOOL, (void))
//   KESTRELIA_RUNTIME_LIBRARY(Uxtheme, "UXTHEME.DLL", UXTHEME_API_LIST)
//
// which gives Uxtheme::Library() and, per entry, the pointer type Uxtheme::IsThemeActiveFn
// and the lookup Uxtheme::IsThemeActive():
//
//   if (auto isThemeActive = Uxtheme::IsThemeActive()) active = isThemeActive();
//
// The lists of the program's own plug-ins live in plugins/include/ beside their contracts.
#pragma once
#include "services/base.h"

struct RuntimeLibrary {
  const char* file;
  HMODULE module;
};

// The library's module, loaded now when it is not yet; null when it cannot be loaded.
HMODULE LoadRuntimeLibrary(RuntimeLibrary* library);
// The entry point looked up by name now; null when the library or the entry is missing.
FARPROC LookUpRuntimeEntry(RuntimeLibrary* library, const char* name);

#define KESTRELIA_RUNTIME_ENTRY(name, result, parameters)                              \
  typedef result(WINAPI* name##Fn) parameters;                                        \
  inline name##Fn name() {                                                            \
    return reinterpret_cast<name##Fn>(LookUpRuntimeEntry(&Library(), #name));          \
  }

#define KESTRELIA_RUNTIME_LIBRARY(space, fileName, list)  \
  namespace space {                                       \
  inline RuntimeLibrary& Library() {                      \
    static RuntimeLibrary library = {fileName, nullptr};  \
    return library;                                       \
  }                                                       \
  list(KESTRELIA_RUNTIME_ENTRY)                           \
  }

// Frees a library that is loaded only while a feature is on (the history's); later lookups
// load it again.
void UnloadRuntimeLibrary(RuntimeLibrary* library);

#include "services/base.h"
#include "services/runtime_library.h"

HMODULE LoadRuntimeLibrary(RuntimeLibrary* library) {
  if (!library) return nullptr;
  // Two threads may load at once: both get the same module, and nothing is ever unloaded.
  if (!library->module) library->module = LoadLibraryA(library->file);
  return library->module;
}

FARPROC LookUpRuntimeEntry(RuntimeLibrary* library, const char* name) {
  HMODULE module = LoadRuntimeLibrary(library);
  return module ? GetProcAddress(module, name) : nullptr;
}

void UnloadRuntimeLibrary(RuntimeLibrary* library) {
  if (!library || !library->module) return;
  FreeLibrary(library->module);
  library->module = nullptr;
}

#include "services/base.h"
#include "services/worker.h"

#include "services/log.h"

namespace {
volatile LONG g_held = OPERATION_NONE;
}  // namespace

int ClaimOperation(int what) {
  return static_cast<int>(InterlockedCompareExchange(&g_held, what, OPERATION_NONE));
}

void ReleaseOperation(int what) { InterlockedCompareExchange(&g_held, OPERATION_NONE, what); }

int GetHeldOperation() { return static_cast<int>(InterlockedCompareExchange(&g_held, 0, 0)); }

bool StartWorker(const char* who, LPTHREAD_START_ROUTINE body, void* parameter) {
  HANDLE thread = CreateThread(nullptr, 0, body, parameter, 0, nullptr);
  if (!thread) {
    Log(-1, GetVerbose(), "%s: cannot start a thread (%lu)", who, GetLastError());
    return false;
  }
  CloseHandle(thread);
  return true;
}

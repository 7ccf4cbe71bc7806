#include "services/base.h"
#include "services/pending_work.h"

#include "services/log.h"

#include <atomic>
#include <map>
#include <mutex>

namespace {

std::mutex g_lock;
std::map<int, HANDLE> g_nodes;  // node number -> the remover's copy of the event
int g_lastNode = 0;
bool g_repainting = false;  // under g_lock: a repaint thread runs or is about to
std::atomic<void (*)()> g_repaint{nullptr};

void DumpIndex() {
  for (const auto& node : g_nodes) Log(-1, GetVerbose(), "  pending node %d", node.first);
}

DWORD WINAPI RemoveWhenDone(LPVOID parameter) {
  int number = static_cast<int>(reinterpret_cast<INT_PTR>(parameter));
  HANDLE done = nullptr;
  {
    std::lock_guard<std::mutex> hold(g_lock);
    auto node = g_nodes.find(number);
    if (node != g_nodes.end()) done = node->second;
  }
  if (done) WaitForSingleObject(done, INFINITE);
  std::lock_guard<std::mutex> hold(g_lock);
  auto node = g_nodes.find(number);
  if (node == g_nodes.end()) {
    Log(-1, GetVerbose(), "Should not happen - node not found!! => %d", number);
    DumpIndex();
    return 1;
  }
  CloseHandle(node->second);
  g_nodes.erase(node);
  Log(5, GetVerbose(), "found node delete them %d", number);
  return 0;
}

// The check for more work and the end of the thread are one step under the lock, so a node
// added meanwhile either is seen here or starts a thread of its own.
DWORD WINAPI RepaintWhilePending(LPVOID) {
  for (;;) {
    {
      std::lock_guard<std::mutex> hold(g_lock);
      if (g_nodes.empty()) {
        g_repainting = false;
        return 0;
      }
    }
    if (void (*repaint)() = g_repaint) repaint();
    Sleep(1000);
  }
}

bool StartThread(LPTHREAD_START_ROUTINE body, void* parameter) {
  HANDLE thread = CreateThread(nullptr, 0, body, parameter, 0, nullptr);
  if (!thread) return false;
  CloseHandle(thread);
  return true;
}

}  // namespace

int AddPendingWork(HANDLE done) {
  HANDLE copy = nullptr;
  if (!done || !DuplicateHandle(GetCurrentProcess(), done, GetCurrentProcess(), &copy, SYNCHRONIZE, FALSE, 0)) {
    Log(1, GetVerbose(), "AddPendingWork: no event to wait on (%lu)", GetLastError());
    return 0;
  }
  std::lock_guard<std::mutex> hold(g_lock);
  int number = ++g_lastNode;
  if (number <= 0) number = g_lastNode = 1;
  g_nodes[number] = copy;
  if (!StartThread(RemoveWhenDone, reinterpret_cast<void*>(static_cast<INT_PTR>(number)))) {
    Log(-1, GetVerbose(), "AddPendingWork: cannot start a thread (%lu)", GetLastError());
    g_nodes.erase(number);
    CloseHandle(copy);
    return 0;
  }
  if (!g_repainting) g_repainting = StartThread(RepaintWhilePending, nullptr);
  return number;
}

size_t CountPendingWork() {
  std::lock_guard<std::mutex> hold(g_lock);
  return g_nodes.size();
}

void SetPendingWorkRepaint(void (*repaint)()) { g_repaint = repaint; }

bool IsPendingWorkRepaintRunning() {
  std::lock_guard<std::mutex> hold(g_lock);
  return g_repainting;
}

#include "services/base.h"
#include "model/view_hooks.h"

namespace {
void Nothing() {}
void NothingBool(bool) {}
void NothingText(const char*) {}
int Zero() { return 0; }
void NothingBlock(ArchiveControlBlock*) {}
ViewHooks g_hooks = {Nothing, Nothing, NothingBool, NothingText, NothingText, Nothing, Nothing, Nothing, Nothing,
                     Nothing, Nothing, Zero,
                     {NothingBlock, NothingBlock, NothingBlock, NothingBlock, NothingBlock}, NothingText};
}  // namespace

ViewHooks& GetViewHooks() { return g_hooks; }

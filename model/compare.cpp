#include "services/base.h"
#include "model/compare.h"

#include "services/log.h"

#include <cstdio>
#include <cstring>

namespace {

int Sign(int v) { return v < 0 ? -1 : (v > 0 ? 1 : 0); }

// A copy cut at 259 characters with every "/" turned into "\".
void Normalise(const char* in, char (&out)[kPathBuf]) {
  size_t i = 0;
  for (; in && in[i] && i < kPathBuf - 1; ++i) out[i] = in[i] == '/' ? '\\' : in[i];
  out[i] = '\0';
}

int FoundIndex(const void* p) { return p ? *static_cast<const int*>(p) : 0; }

}  // namespace

int PathCompareIndependentCaseSense(const char* a, const char* b) {
  char x[kPathBuf], y[kPathBuf];
  Normalise(a, x);
  Normalise(b, y);
  return Sign(strcmp(x, y));
}

int FoundListCompareEqual(const void* a, const void* b) {
  Log(8, GetVerbose(), "FoundListCompareEqual %d %d", FoundIndex(a), FoundIndex(b));
  return FoundIndex(a) - FoundIndex(b);
}

int FoundListCompareSmaller(const void* a, const void* b) {
  Log(8, GetVerbose(), "FoundListCompareSmaller %d %d", FoundIndex(a), FoundIndex(b));
  return FoundIndex(a) < FoundIndex(b) ? 1 : 0;
}

int FoundListCompareGreater(const void* a, const void* b) {
  Log(8, GetVerbose(), "FoundListCompareGreater %d %d", FoundIndex(a), FoundIndex(b));
  return FoundIndex(a) >= FoundIndex(b) ? 1 : 0;
}

#include "services/base.h"
#include "ui/text_decoding.h"

namespace {

constexpr size_t kDecideBytes = 4096;

// How many bytes a UTF-8 sequence that starts with lead has; 0 for a byte that cannot lead.
size_t Utf8Length(unsigned char lead) {
  if (lead < 0x80) return 1;
  if (lead >= 0xC2 && lead <= 0xDF) return 2;
  if (lead >= 0xE0 && lead <= 0xEF) return 3;
  if (lead >= 0xF0 && lead <= 0xF4) return 4;
  return 0;
}

// A cut at the end of the bytes is no fault: the rest follows in the next piece.
bool LooksLikeUtf8(const unsigned char* bytes, size_t count) {
  for (size_t i = 0; i < count;) {
    size_t n = Utf8Length(bytes[i]);
    if (!n) return false;
    for (size_t k = 1; k < n; ++k) {
      if (i + k >= count) return true;
      if ((bytes[i + k] & 0xC0) != 0x80) return false;
    }
    i += n;
  }
  return true;
}

// The bytes at the end that may begin a character not yet whole.
size_t Utf8Tail(const std::string& bytes) {
  size_t n = bytes.size();
  for (size_t back = 1; back <= 3 && back <= n; ++back) {
    unsigned char c = static_cast<unsigned char>(bytes[n - back]);
    if ((c & 0xC0) == 0x80) continue;
    size_t length = Utf8Length(c);
    return length > back ? back : 0;
  }
  return 0;
}

void AppendCodePage(UINT codePage, const char* bytes, size_t count, std::wstring& out) {
  if (!count) return;
  int n = MultiByteToWideChar(codePage, 0, bytes, static_cast<int>(count), nullptr, 0);
  size_t at = out.size();
  out.resize(at + static_cast<size_t>(n));
  MultiByteToWideChar(codePage, 0, bytes, static_cast<int>(count), &out[at], n);
}

}  // namespace

TextEncoding DetectTextEncoding(const unsigned char* head, size_t count, size_t* markLength) {
  *markLength = 0;
  if (count >= 3 && head[0] == 0xEF && head[1] == 0xBB && head[2] == 0xBF) {
    *markLength = 3;
    return TEXT_UTF8;
  }
  if (count >= 2 && head[0] == 0xFF && head[1] == 0xFE) {
    *markLength = 2;
    return TEXT_UTF16LE;
  }
  if (count >= 2 && head[0] == 0xFE && head[1] == 0xFF) {
    *markLength = 2;
    return TEXT_UTF16BE;
  }
  return LooksLikeUtf8(head, count) ? TEXT_UTF8 : TEXT_CP1252;
}

void TextDecoder::Feed(const char* bytes, size_t count, bool last, std::wstring& out) {
  if (count) pending.append(bytes, count);
  if (!decided) {
    // Enough of the text to judge it, however it was cut into pieces.
    if (pending.size() < kDecideBytes && !last) return;
    size_t mark = 0;
    encoding = DetectTextEncoding(reinterpret_cast<const unsigned char*>(pending.data()), pending.size(), &mark);
    pending.erase(0, mark);
    decided = true;
  }
  size_t keep = 0;
  switch (encoding) {
    case TEXT_UTF8:
      keep = last ? 0 : Utf8Tail(pending);
      AppendCodePage(CP_UTF8, pending.data(), pending.size() - keep, out);
      break;
    case TEXT_CP1252:
      AppendCodePage(1252, pending.data(), pending.size(), out);
      break;
    case TEXT_UTF16LE:
    case TEXT_UTF16BE: {
      size_t units = pending.size() / 2;
      keep = pending.size() - units * 2;
      bool big = encoding == TEXT_UTF16BE;
      for (size_t i = 0; i < units; ++i) {
        unsigned char a = static_cast<unsigned char>(pending[2 * i]), b = static_cast<unsigned char>(pending[2 * i + 1]);
        out.push_back(static_cast<wchar_t>(big ? (a << 8 | b) : (b << 8 | a)));
      }
      if (last && keep) out.push_back(L'\xFFFD');
      if (last) keep = 0;
      break;
    }
  }
  pending.erase(0, pending.size() - keep);
}

// What the shell receives from the program: the data object's formats over entries of a ZIP
// and a TAR with folders and names in several scripts, and the viewer's text decoding.
#include "services/base.h"

#include <gtest/gtest.h>

#include "formats/formats.h"
#include "test_support.h"
#include "ui/entry_data_object.h"
#include "ui/entry_transfer.h"
#include "ui/text_decoding.h"

#include <shlobj.h>

#include <string>
#include <vector>

namespace {

std::wstring Wide(const std::string& text) {
  int n = MultiByteToWideChar(CP_UTF8, 0, text.c_str(), -1, nullptr, 0);
  std::wstring out(static_cast<size_t>(n ? n - 1 : 0), L'\0');
  if (n > 1) MultiByteToWideChar(CP_UTF8, 0, text.c_str(), -1, &out[0], n);
  return out;
}

std::string ReadStream(IStream* stream) {
  std::string bytes;
  char piece[4096];
  ULONG got = 0;
  while (SUCCEEDED(stream->Read(piece, sizeof piece, &got)) && got) bytes.append(piece, got);
  return bytes;
}

CLIPFORMAT Format(const char* name) { return static_cast<CLIPFORMAT>(RegisterClipboardFormatA(name)); }

DWORD g_reported;
void Reported(DWORD effect) { g_reported = effect; }

struct Descriptor {
  std::string name;  // as the target makes it
  bool folder;
  std::string bytes;  // a file's contents
};

struct TransferCase {
  const char* archive;
  int kind;
  std::vector<TransferEntry> entries;
  std::vector<Descriptor> expected;
  std::vector<std::string> written;  // what CF_HDROP names, below the written folder
};

TransferEntry Entry(const char* name, const char* relative, uint64_t size) {
  return TransferEntry{name, relative, size, FILETIME{0x12345678, 0x01D00000}};
}

const char kGerman[] = "\xC3\x9C" "berordner/\xC3\x84pfel und \xC3\x96l.txt";  // Überordner/Äpfel und Öl.txt
const char kRussian[] = "\xD0\x94\xD0\xBE\xD0\xBA\xD1\x83\xD0\xBC\xD0\xB5\xD0\xBD\xD1\x82\xD1\x8B/"
                        "\xD0\x9F\xD1\x80\xD0\xB8\xD0\xB2\xD0\xB5\xD1\x82 \xD0\xBC\xD0\xB8\xD1\x80.txt";
const char kJapanese[] = "\xE6\x97\xA5\xE6\x9C\xAC\xE8\xAA\x9E\\\xE3\x83\x86\xE3\x82\xB9\xE3\x83\x88 "
                         "\xE3\x83\x95\xE3\x82\xA1\xE3\x82\xA4\xE3\x83\xAB.txt";
const char kJapaneseFile[] = "\xE3\x83\x86\xE3\x82\xB9\xE3\x83\x88 \xE3\x83\x95\xE3\x82\xA1\xE3\x82\xA4\xE3\x83\xAB.txt";
const char kKoeln[] = "Deutsch\\Gr\xC3\xBC\xC3\x9F" "e aus K\xC3\xB6ln.txt";

std::string Back(std::string name) { return Separated(name, '/', '\\'); }
std::string Top(const std::string& name) { return name.substr(0, name.find('\\')); }

TEST(ShellTransfer, DataObjectGivesDescriptorsStreamsAndWrittenFiles) {
  ASSERT_TRUE(SUCCEEDED(OleInitialize(nullptr)));
  RegisterArchiveFormats();
  std::string german = Back(kGerman), russian = Back(kRussian);
  const TransferCase cases[] = {
      // The full list keeps paths; the folder list of 日本語 drops its own folder; a name that
      // would climb out of the target folder is left out.
      {"name/names_python.zip", ARCHIVE_ZIP,
       {Entry(kKoeln, kKoeln, 7), Entry(kJapanese, kJapaneseFile, 9), Entry("plain\\ascii.txt", "..\\ascii.txt", 6)},
       {{"Deutsch", true, ""}, {kKoeln, false, "German\n"}, {kJapaneseFile, false, "Japanese\n"}},
       {"Deutsch", kJapanese}},
      // A TAR names its entries with "/"; a tree folder lands as itself with what it holds.
      {"tar/names_gnu.tar", ARCHIVE_TAR,
       {Entry(kGerman, german.c_str(), strlen(kGerman) + 1), Entry(kRussian, russian.substr(russian.find('\\') + 1).c_str(), strlen(kRussian) + 1)},
       {{Top(german), true, ""}, {german, false, std::string(kGerman) + "\n"},
        {russian.substr(russian.find('\\') + 1), false, std::string(kRussian) + "\n"}},
       {Top(german), russian}},
  };
  for (const TransferCase& c : cases) {
    SCOPED_TRACE(c.archive);
    g_reported = 0;
    std::string archive = TestData(c.archive);
    IDataObject* data = CreateEntryDataObject(c.entries, NewArchiveEntrySource(archive.c_str(), c.kind, ""),
                                              DROPEFFECT_MOVE, Reported);
    EXPECT_TRUE(IsOwnEntryData(data));

    FORMATETC format = {Format(CFSTR_FILEDESCRIPTORW), nullptr, DVASPECT_CONTENT, -1, TYMED_HGLOBAL};
    STGMEDIUM medium = {};
    ASSERT_EQ(data->GetData(&format, &medium), S_OK);
    auto* group = static_cast<FILEGROUPDESCRIPTORW*>(GlobalLock(medium.hGlobal));
    ASSERT_EQ(group->cItems, c.expected.size());
    for (UINT i = 0; i < group->cItems; ++i) {
      const FILEDESCRIPTORW& d = group->fgd[i];
      const Descriptor& want = c.expected[i];
      EXPECT_EQ(std::wstring(d.cFileName), Wide(want.name)) << i;
      EXPECT_EQ((d.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0, want.folder) << want.name;
      FORMATETC contents = {Format(CFSTR_FILECONTENTS), nullptr, DVASPECT_CONTENT, static_cast<LONG>(i), TYMED_ISTREAM};
      STGMEDIUM stream = {};
      if (want.folder) {
        EXPECT_NE(data->GetData(&contents, &stream), S_OK) << "a folder has no contents";
        continue;
      }
      uint64_t size = static_cast<uint64_t>(d.nFileSizeHigh) << 32 | d.nFileSizeLow;
      EXPECT_EQ(size, want.bytes.size()) << want.name;
      EXPECT_EQ(d.ftLastWriteTime.dwHighDateTime, 0x01D00000u);
      ASSERT_EQ(data->GetData(&contents, &stream), S_OK) << want.name;
      EXPECT_EQ(ReadStream(stream.pstm), want.bytes) << want.name;
      ReleaseStgMedium(&stream);
    }
    GlobalUnlock(medium.hGlobal);
    ReleaseStgMedium(&medium);

    // A target that wants real paths gets the top of each entry, written whole.
    format.cfFormat = CF_HDROP;
    ASSERT_EQ(data->GetData(&format, &medium), S_OK);
    HDROP drop = static_cast<HDROP>(medium.hGlobal);
    UINT count = DragQueryFileW(drop, 0xFFFFFFFF, nullptr, 0);
    ASSERT_EQ(count, c.written.size());
    for (UINT i = 0; i < count; ++i) {
      wchar_t path[MAX_PATH] = L"";
      DragQueryFileW(drop, i, path, MAX_PATH);
      std::wstring want = Wide(c.written[i]);
      std::wstring got = path;
      ASSERT_GE(got.size(), want.size());
      EXPECT_EQ(got.substr(got.size() - want.size()), want);
      EXPECT_NE(GetFileAttributesW(path), INVALID_FILE_ATTRIBUTES);
    }
    ReleaseStgMedium(&medium);

    // The shell reports a finished move of cut entries through the object.
    FORMATETC pasted = {Format(CFSTR_PASTESUCCEEDED), nullptr, DVASPECT_CONTENT, -1, TYMED_HGLOBAL};
    STGMEDIUM effect = {TYMED_HGLOBAL};
    effect.hGlobal = GlobalAlloc(GMEM_MOVEABLE, sizeof(DWORD));
    *static_cast<DWORD*>(GlobalLock(effect.hGlobal)) = DROPEFFECT_MOVE;
    GlobalUnlock(effect.hGlobal);
    EXPECT_EQ(data->SetData(&pasted, &effect, TRUE), S_OK);
    EXPECT_EQ(g_reported, static_cast<DWORD>(DROPEFFECT_MOVE));
    data->Release();
  }
  DeleteTempFiles();
  OleUninitialize();
}

// The text viewer's decoding, fed in pieces of every size: the encoding is decided from the
// first bytes, and no character is split where a piece ends.
TEST(ShellTransfer, TextDecodingInPieces) {
  const struct {
    std::string bytes;
    std::wstring text;
  } cases[] = {
      {"\xEF\xBB\xBFGr\xC3\xBC\xC3\x9F" "e \xE2\x82\xAC", L"Gr\u00FC\u00DFe \u20AC"},      // UTF-8 with its mark
      {"\xD0\x9F\xD1\x80\xD0\xB8 \xF0\x9F\x98\x80", L"\u041F\u0440\u0438 \U0001F600"},   // UTF-8 without one
      {std::string("\xFF\xFEG\0\xFC\0=\xD8\0\xDE", 10), L"G\u00FC\U0001F600"},          // UTF-16, little end first
      {std::string("\xFE\xFF\0G\0\xFC", 6), L"G\u00FC"},                                 // UTF-16, big end first
      {"Gr\xFC\xDF" "e \x80 caf\xE9", L"Gr\u00FC\u00DFe \u20AC caf\u00E9"},              // Windows-1252
      {"ab\xC3", L"ab\uFFFD"},                                                           // cut short
      {"", L""},
  };
  for (const auto& c : cases) {
    for (size_t piece : {size_t(1), size_t(2), size_t(3), size_t(1000)}) {
      TextDecoder decoder;
      std::wstring text;
      for (size_t at = 0; at < c.bytes.size(); at += piece)
        decoder.Feed(c.bytes.data() + at, std::min(piece, c.bytes.size() - at), false, text);
      decoder.Feed(nullptr, 0, true, text);
      EXPECT_EQ(text, c.text) << "piece " << piece << ": " << c.bytes;
    }
  }
}

}  // namespace

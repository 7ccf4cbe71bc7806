#include "services/base.h"
#include "ui/entry_view.h"

#include "formats/formats.h"
#include "kestrelia_lang.h"
#include "model/app_state.h"
#include "model/archive_kind.h"
#include "model/entry_rows.h"
#include "model/liststruct.h"
#include "services/external_app.h"
#include "services/log.h"
#include "services/password_dialog.h"
#include "services/prompts.h"
#include "services/worker.h"
#include "model/folder_tree.h"
#include "settings/options.h"
#include "settings/values.h"
#include "jobs/extract_job.h"
#include "ui/entry_list.h"
#include "ui/entry_transfer.h"
#include "ui/picture_viewer.h"
#include "ui/text_viewer.h"

#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <string>

namespace {

std::string FullName(const liststruct* record) {
  return std::string(record->path ? record->path : "") + (record->filename ? record->filename : "");
}

bool EndsWithNoCase(const std::string& name, const char* ending) {
  size_t e = strlen(ending);
  return name.size() >= e && !_stricmp(name.c_str() + name.size() - e, ending);
}

// Every picture of the list in its order, so the viewer's next and previous follow the list.
bool ViewPicture(HWND list, const std::string& chosen) {
  PictureSource source{GetCurrentArchivePath(), GetArchiveKind(), {}};
  size_t index = 0;
  size_t rows = GetEntryRowCount(list);
  for (size_t row = 0; row < rows; ++row) {
    const liststruct* record = GetRowRecord(list, static_cast<int>(row));
    if (!record || !IsPictureName(record->filename)) continue;
    std::string name = FullName(record);
    if (name == chosen) index = source.names.size();
    source.names.push_back(name);
  }
  return ShowPictureViewer(source, index) != nullptr;
}

bool ViewText(const std::string& name) {
  IStream* stream = nullptr;
  if (FAILED(OpenEntryIStream(GetCurrentArchivePath(), GetArchiveKind(), name.c_str(), GetCurrentPassword(), &stream)))
    return false;
  HWND window = ShowTextViewer(stream, name.c_str());
  stream->Release();
  return window != nullptr;
}

// The entry written to the temporary folder by its kind (recorded for deletion at exit);
// 0, else the user was told why not.
int WriteEntryToTemp(const std::string& name, char (&target)[kPathBuf]) {
  int kind = GetArchiveKind();
  const ArchiveFormat* format = FindArchiveFormat(kind);
  if (!format || !format->ops.writeTemp) {
    Log(2, GetVerbose(), "WriteEntryToTemp: archive kind %d cannot write an entry to the temporary folder", kind);
    return 1;
  }
  // The header-loop kinds write through a run that moves the working directory, which a
  // running extraction writes below; and no rewrite may change the archive under the write.
  if (ClaimOperation(OPERATION_JOB) != OPERATION_NONE) {
    PromptMessageBox(GetMainWindowHandle(), GetMessageText(KLANG_MSG_BUSY), "Kestrelia", MB_OK | MB_ICONINFORMATION);
    return 1;
  }
  NextPasswordSubject() = {GetCurrentArchivePath(), "", false};
  int result = format->ops.writeTemp(GetCurrentArchivePath(), name.c_str(), target);
  ReleaseOperation(OPERATION_JOB);
  return result;
}

// The class file goes through the tool named in the settings; its source text is shown.
bool ViewClassSource(const std::string& name) {
  std::string bytes;
  if (!ReadEntryBytes(GetCurrentArchivePath(), GetArchiveKind(), name.c_str(), 64u << 20, bytes)) return false;
  const char* part = strrchr(name.c_str(), '\\');
  const char* slash = strrchr(name.c_str(), '/');
  if (!part || (slash && slash > part)) part = slash;
  char target[kPathBuf], folder[kPathBuf];
  if (!TempTarget(part ? part + 1 : name.c_str(), target, folder)) return false;
  HANDLE file = CreateFileA(target, GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_TEMPORARY, nullptr);
  if (file == INVALID_HANDLE_VALUE) return false;
  DWORD written = 0;
  WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
  CloseHandle(file);
  AddTempFile(target);
  std::string source;
  if (!ProcessJad(GetJadPath(), target, source)) return false;
  return ShowTextViewerText(source, name.c_str()) != nullptr;
}

// The built-in viewer that fits the entry, when the options prefer them; false when none
// fits or it could not show the entry.
bool ViewInternally(HWND list, const std::string& name) {
  if (!IsOpenPreferredInternally()) return false;
  if (IsPictureName(name.c_str())) return ViewPicture(list, name);
  if (EndsWithNoCase(name, ".class") && IsUseJadForClassFiles() && GetJadPath()[0]) return ViewClassSource(name);
  if (IsTextName(name.c_str())) return ViewText(name);
  return false;
}

}  // namespace

int ViewSelectedEntry(int openWith) {
  ArchiveControlBlock* block = GetCurrentControlBlock();
  HWND list = block ? block->viewComponent : nullptr;
  const char* archive = GetCurrentArchivePath();
  int row = list ? FocusedEntryRow(list) : -1;
  liststruct* record = row >= 0 ? GetRowRecord(list, row) : nullptr;
  if (!record || !*archive) {
    Log(5, GetVerbose(), "ViewSelectedEntry: nothing selected");
    return 1;
  }
  std::string full = FullName(record);
  if (!openWith && ViewInternally(list, full)) return 0;
  char target[kPathBuf];
  if (WriteEntryToTemp(full, target) != 0) return 1;
  return openWith ? OpenAs(target) : CallApp(target);
}

namespace {

std::string Line(const char* label, const std::string& value) { return std::string(label) + "\t " + value + "\n"; }
std::string Label(const char* title) { return std::string(title) + ":"; }

std::string SizeText(uint64_t bytes) {
  char size[64];
  FormatTreeSizeText(static_cast<double>(bytes), size, sizeof size);
  return std::string(size) + " (" + std::to_string(bytes) + " B)";
}

// "RHSA" as Explorer's column spells them, a folder's "D" first.
std::string AttributeText(uint32_t attributes) {
  std::string text;
  if (attributes & FILE_ATTRIBUTE_DIRECTORY) text += 'D';
  if (attributes & FILE_ATTRIBUTE_READONLY) text += 'R';
  if (attributes & FILE_ATTRIBUTE_HIDDEN) text += 'H';
  if (attributes & FILE_ATTRIBUTE_SYSTEM) text += 'S';
  if (attributes & FILE_ATTRIBUTE_ARCHIVE) text += 'A';
  return text.empty() ? "-" : text;
}

}  // namespace

std::string ReadArchiveComment() {
  const ArchiveFormat* format = FindArchiveFormat(GetArchiveKind());
  std::string comment;
  if (format && format->ops.comment && *GetCurrentArchivePath()) format->ops.comment(GetCurrentArchivePath(), &comment);
  return comment;
}

bool ShowEntryProperties(HWND list) {
  int row = list ? FocusedEntryRow(list) : -1;
  const liststruct* r = row >= 0 ? GetRowRecord(list, row) : nullptr;
  if (!r || r->folder) return false;
  char date[80];
  MakeDateText(r->date, date, sizeof date);
  std::string text = std::string(GetMessageText(KLANG_MSG_ENTRY_PROPERTIES)) + "\n\"" + r->filename + "\"\n\n";
  text += Line(Label(GetDescriptionPath()).c_str(), *r->path ? r->path : "\\");
  text += Line(GetMessageText(KLANG_MSG_PROPERTIES_UNCOMPRESSED), SizeText(r->uncompressed));
  text += Line(GetMessageText(KLANG_MSG_PROPERTIES_COMPRESSED), SizeText(r->compressed));
  text += Line(Label(GetDescriptionCompressionRatio()).c_str(), r->rate);
  text += Line(Label(GetDescriptionDate()).c_str(), date);
  bool encrypted = *GetEntryEncryptedText(r) != '\0';
  text += Line(Label(GetDescriptionEncrypted()).c_str(), GetMessageText(encrypted ? KLANG_MSG_YES : KLANG_MSG_NO));
  // What only the archive's record knows, where the kind reads it.
  const ArchiveFormat* format = FindArchiveFormat(GetArchiveKind());
  EntryDetails details;
  std::string full = std::string(r->path) + r->filename;
  if (format && format->ops.details && format->ops.details(GetCurrentArchivePath(), full.c_str(), &details) == 0) {
    text += Line(GetMessageText(KLANG_MSG_PROPERTIES_METHOD), details.method);
    if (details.hasCrc) {
      char crc[16];
      snprintf(crc, sizeof crc, "%08" PRIX32, details.crc);
      text += Line(GetMessageText(KLANG_MSG_PROPERTIES_CRC), crc);
    }
    text += Line(GetMessageText(KLANG_MSG_PROPERTIES_ATTRIBUTES), AttributeText(details.attributes));
    if (!details.comment.empty())
      text += "\n" + std::string(GetMessageText(KLANG_MSG_PROPERTIES_COMMENT)) + "\n" + details.comment + "\n";
  }
  PromptMessageBox(GetMainWindowHandle(), text.c_str(), "Kestrelia", MB_OK | MB_ICONINFORMATION);
  return true;
}

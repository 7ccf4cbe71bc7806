// The ZIP engine's operations as the table of archive kinds takes them (formats/zip_format.cpp).
#pragma once
#include "services/base.h"

#include "jobs/entry_stream.h"

// One entry written to the temporary folder under its last name (the table's writeTemp).
int WriteZipEntryToTemp(const char* archive, const char* entryName, char (&written)[kPathBuf]);

struct ExtractJob;
struct RBTree;
// ZIP's rewrites of a change set, with the rewrite's own two passes over the names; the
// user's sentence for a failure lands in failure.
int DeleteZipEntries(const char* archive, RBTree* changes, char* failure, size_t failureSize);
int RenameZipEntries(const char* archive, RBTree* changes, char* failure, size_t failureSize);
// ZIP's extraction worker: the whole archive, a copied selection or a list's rows, as the
// job says; with job->done set it signals that event at the end.
int ExtractArchiveZipWorker(ExtractJob* job);

// Opens the archive and sets the encryption flag from its first entry, as opening it in the
// window would. 0 on success, -1 when it cannot be read.
int DetectArchiveEncryption(const char* archive);

// ZIP's stream reading: entries in the order of the archive's directory, named as the list
// shows them; an encrypted one asks for the password when none is set.
std::unique_ptr<ArchiveReader> OpenZipReader(const char* archive, int* error);

struct EntryDetails;
// ZIP's entry properties and archive comment (zip/entry_details.cpp).
int ReadZipEntryDetails(const char* archive, const char* entryName, EntryDetails* out);
int ReadZipComment(const char* archive, std::string* comment);

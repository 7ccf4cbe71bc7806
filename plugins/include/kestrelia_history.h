/* The contract between the program and history.dll, its history of extractions. The program
 * loads the library by name when the history is switched on (at start, or from the
 * configuration dialog) and frees it at shut-down; every call looks its entry point up by name.
 * All entry points use the C calling convention and UTF-8 texts.
 *
 * The history lives in one file per user, history.dat in the folder that
 * CheckExistenceUserAppDataDirectory gives. Every change writes the whole history to a new
 * file beside it and then puts that file in the old one's place, so a process killed in the
 * middle of a write leaves the previous history whole. Protected by a password, the file holds
 * the history sealed with AES-256-GCM under a key the password gives through PBKDF2; a wrong
 * password opens nothing and changes nothing. */
#ifndef KESTRELIA_HISTORY_H
#define KESTRELIA_HISTORY_H

#ifdef __cplusplus
extern "C" {
#endif

#define KESTRELIA_HISTORY_FILE "history.dll"

/* The fields of an item, each a text. */
#define HISTORY_ARCHIVE 0     /* the archive's full path */
#define HISTORY_DESTINATION 1 /* the folder it was extracted into */
#define HISTORY_TIME 2        /* local time, "YYYY-MM-DD HH:MM:SS" */
#define HISTORY_ENTRIES 3     /* entries extracted, decimal */
#define HISTORY_RESULT 4      /* the run's result, decimal: 0 done, 100 cancelled, else failed */
#define HISTORY_FIELDS 5

/* OpenHistory's results. */
#define HISTORY_OPEN_OK 0
#define HISTORY_OPEN_WRONG_PASSWORD 1 /* or a file sealed and no password given */
#define HISTORY_OPEN_DAMAGED 2        /* not a history file, or cut short */
#define HISTORY_OPEN_FAILED 3         /* the folder or the file cannot be read */

typedef struct HistoryItem HistoryItem;

/* The entry points, as a list of X(name, result, parameters) in the form of every plug-in list.
 *   CheckExistenceUserAppDataDirectory(folder, size): the program's folder under the user's
 *     application data, made when missing, into folder; 0 when it exists now.
 *   OpenHistory(folder, password): reads the history in folder (none yet: an empty one);
 *     password null or "" for a history without one. HISTORY_OPEN_*; the history is active
 *     only after HISTORY_OPEN_OK.
 *   CloseHistory(): forgets the history in memory (the file stays).
 *   IsHistoryActivated(): 1 while a history is open.
 *   IsHistoryStatusOK(): 1 when the last read or write of the file succeeded.
 *   CreateNewHistoryItem(): an empty item, the time already filled with now; the caller's
 *     until AddHistoryItem takes it.
 *   AddDataToHistoryItem(item, field, text): sets one field; 0, or 1 for a bad field.
 *   AddHistoryItem(item): the item becomes the newest of the history (which owns it from now),
 *     and the history is written; 0 when written.
 *   GetLastAddedItem(): the newest item, or null.
 *   GetHistoryItemCount(), GetHistoryItemData(index, field): the items, 0 the newest; the
 *     text stays valid until the history changes ("" for an index out of range).
 *   DeleteHistoryItem(index), ClearHistory(): remove one item or all, and write; 0 when written.
 *   SetHistoryPassword(password): writes the open history again under this password (null or
 *     "" for none); 0 when written. */
#define KESTRELIA_HISTORY_API_LIST(X)                                          \
  X(CheckExistenceUserAppDataDirectory, int, (char* folder, int size))        \
  X(OpenHistory, int, (const char* folder, const char* password))            \
  X(CloseHistory, void, (void))                                               \
  X(IsHistoryActivated, int, (void))                                          \
  X(IsHistoryStatusOK, int, (void))                                           \
  X(CreateNewHistoryItem, HistoryItem*, (void))                               \
  X(AddDataToHistoryItem, int, (HistoryItem* item, int field, const char* text)) \
  X(AddHistoryItem, int, (HistoryItem* item))                                 \
  X(GetLastAddedItem, const HistoryItem*, (void))                             \
  X(GetHistoryItemCount, int, (void))                                         \
  X(GetHistoryItemData, const char*, (int index, int field))                  \
  X(DeleteHistoryItem, int, (int index))                                      \
  X(ClearHistory, int, (void))                                                \
  X(SetHistoryPassword, int, (const char* password))

#ifdef __cplusplus
}
#endif

#endif

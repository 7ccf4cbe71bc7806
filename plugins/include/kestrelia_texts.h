/* The numbers of the language library's texts that the program asks for by name: one list,
   shared by the library's tables and the program's calls (GetMessageText(KLANG_MSG_ERROR_TITLE)).
   The English text stands beside each; texts that are pieces of composed sentences are
   described with their compositions in the library's tables. Numbers without a name here
   are asked for only through tables of their own (the failure reasons, the formats'
   descriptions). */
#ifndef KESTRELIA_TEXTS_H
#define KESTRELIA_TEXTS_H

/* GetMessageText */
#define KLANG_MSG_CHOOSE_EXTRACT_FOLDER            0  /* Choose the folder to extract to: */
#define KLANG_MSG_PLEASE_WAIT                      1  /* Please wait... */
#define KLANG_MSG_SIZES                            3  /* Sizes */
#define KLANG_MSG_SIZES_COMPRESSED                 4  /* compressed: */
#define KLANG_MSG_SIZES_UNCOMPRESSED               5  /* uncompressed: */
#define KLANG_MSG_ENTRY                            6  /* entry */
#define KLANG_MSG_ENTRIES                          7  /* entries */
#define KLANG_MSG_NO_ARCHIVE_OPEN                  8  /* No archive is open. */
#define KLANG_MSG_NO_ENTRY_SELECTED                9  /* No entry is selected. */
#define KLANG_MSG_DELETE_QUESTION                 10  /* Do you really want to delete the selected entries from th... */
#define KLANG_MSG_DELETE_TITLE                    11  /* Delete entries */
#define KLANG_MSG_OVERWRITE_THE_FILE              14  /* The file */
#define KLANG_MSG_OVERWRITE_EXISTS                15  /* already exists. Overwrite it */
#define KLANG_MSG_OVERWRITE_TITLE                 16  /* Confirm overwrite */
#define KLANG_MSG_SAVE_NEW_ARCHIVE_TITLE          26  /* Save new archive as */
#define KLANG_MSG_OPEN_ARCHIVE_TITLE              28  /* Open archive */
#define KLANG_MSG_CHOOSE_FILES_TO_ADD             29  /* Choose the files to add */
#define KLANG_MSG_CHOOSE_FOLDER_TO_ADD            30  /* Choose the folder to add: */
#define KLANG_MSG_ADD_ONLY_ZIP_TAR                33  /* Adding files is only possible to ZIP and TAR archives. */
#define KLANG_MSG_EMPTY_NAME                      34  /* The name must not be empty. */
#define KLANG_MSG_CANNOT_OPEN_THE_FILE            35  /* The file */
#define KLANG_MSG_CANNOT_OPEN_TAIL                36  /* cannot be opened */
#define KLANG_MSG_WRONG_PASSWORD                  39  /* The password is wrong. */
#define KLANG_MSG_BUSY                            40  /* Another operation is still running. Please wait until it ... */
#define KLANG_MSG_CANCEL_RUNNING_QUESTION         41  /* Do you want to cancel the running operation? */
#define KLANG_MSG_DELETING                        43  /* Deleting */
#define KLANG_MSG_MOVING                          44  /* Moving */
#define KLANG_MSG_SEARCHING_IN                    47  /* Searching in */
#define KLANG_MSG_NOTHING_TO_SEARCH               48  /* There is nothing to search: the list is empty. */
#define KLANG_MSG_FOLDER_CANNOT_BE_VIEWED         52  /* Viewing is not possible for folders. */
#define KLANG_MSG_ENTRY_CANNOT_BE_SHOWN           53  /* The entry cannot be shown. */
#define KLANG_MSG_FOLDER_PROPERTIES               57  /* Properties of the folder */
#define KLANG_MSG_PROPERTIES_ENTRIES              58  /* Entries: */
#define KLANG_MSG_PROPERTIES_FOLDERS              59  /* Folders: */
#define KLANG_MSG_PROPERTIES_COMPRESSED           60  /* Compressed: */
#define KLANG_MSG_PROPERTIES_UNCOMPRESSED         61  /* Uncompressed: */
#define KLANG_MSG_WHOLE_ARCHIVE                   62  /* (whole archive) */
#define KLANG_MSG_CREATION_CANCELLED              63  /* Creating the archive was cancelled. */
#define KLANG_MSG_NOTHING_TO_COMPRESS             64  /* There is nothing to compress. */
#define KLANG_MSG_CANNOT_CREATE_ARCHIVE           65  /* The archive cannot be created. */
#define KLANG_MSG_CANNOT_WRITE_ARCHIVE            66  /* The archive cannot be written. */
#define KLANG_MSG_ARCHIVE_UNCHANGED               70  /* The archive could not be changed; it was left as it was. */
#define KLANG_MSG_NOT_AN_ARCHIVE                  71  /* The file is not an archive that Kestrelia can open. */
#define KLANG_MSG_UNSAFE_NAMES_SKIPPED            72  /* Entries with unsafe names were not extracted: */
#define KLANG_MSG_START_PROGRAM_QUESTION          75  /* Do you really want to start this program */
#define KLANG_MSG_ADDING                          83  /* Adding */
#define KLANG_MSG_COLLECTING_FILES                84  /* Collecting files */
#define KLANG_MSG_RENAMING                        85  /* Renaming */
#define KLANG_MSG_ELAPSED_TIME                    86  /* Elapsed time: */
#define KLANG_MSG_REMAINING_TIME                  87  /* Remaining time: */
#define KLANG_MSG_SPEED                           88  /* Speed: */
#define KLANG_MSG_FOLDER_NOT_FOUND                91  /* The folder cannot be found. */
#define KLANG_MSG_NAME_TAKEN                      92  /* An entry of this name already exists in the archive. */
#define KLANG_MSG_ERROR_TITLE                     94  /* Kestrelia - Error */
#define KLANG_MSG_CANNOT_CREATE_FOLDER            95  /* The folder cannot be created: */
#define KLANG_MSG_FOLDER_EXISTS                   96  /* The folder already exists: */
#define KLANG_MSG_NO_MEMORY                       97  /* Not enough memory. */
#define KLANG_MSG_MISSING_OR_IN_USE               99  /* (it does not exist or another program is using it). */
#define KLANG_MSG_EXTRACTION_FINISHED             18  /* Extraction finished. */
#define KLANG_MSG_EXTRACTION_CANCELLED            19  /* Extraction was cancelled. */
#define KLANG_MSG_COMPUTING_CHECKSUM             102  /* Computing the checksum */
#define KLANG_MSG_TOO_LARGE_FOR_MEMORY           114  /* too large to be read into memory */
#define KLANG_MSG_DISK_FULL_GO_ON                117  /* Go on with the next entries? Those that do not fit... */
#define KLANG_MSG_FOLDER_REFUSES                 118  /* No file can be written into this folder. Choose another... */
#define KLANG_MSG_ENTRIES_FAILED                 119  /* failed */
#define KLANG_MSG_VERSION                        138  /* Version */
#define KLANG_MSG_BUILT_ON_LIBRARIES             139  /* Built on these libraries: */
#define KLANG_MSG_ALL_ARCHIVES                   140  /* All archives */
#define KLANG_MSG_ALL_FILES                      141  /* All files */
#define KLANG_MSG_SELECTED                       142  /* selected */
#define KLANG_MSG_OPEN_UNKNOWN_KIND              148  /* It is not an archive of a kind that Kestrelia can open. */
#define KLANG_MSG_OPEN_NOT_ZIP                   149  /* It is not a ZIP archive: its contents are in another format. */
#define KLANG_MSG_OPEN_CUT_SHORT                 150  /* The archive is damaged: it was cut short and its end is miss... */
#define KLANG_MSG_OPEN_DAMAGED                   151  /* The archive is damaged: its table of contents cannot be read. */
#define KLANG_MSG_OVERWRITE_EXISTING             152  /* Existing file: */
#define KLANG_MSG_OVERWRITE_INCOMING             153  /* From the archive: */
#define KLANG_MSG_BYTES                          154  /* bytes */
#define KLANG_MSG_FILE_EXTRACTED_TO              155  /* file extracted to */
#define KLANG_MSG_FILES_EXTRACTED_TO             156  /* files extracted to */
#define KLANG_MSG_CANCELLED_AFTER                157  /* Cancelled after */
#define KLANG_MSG_FAILED                         158  /* failed */
#define KLANG_MSG_ENTRY_PROPERTIES               180  /* Properties of the entry */
#define KLANG_MSG_PROPERTIES_METHOD              181  /* Method: */
#define KLANG_MSG_PROPERTIES_CRC                 182  /* CRC: */
#define KLANG_MSG_PROPERTIES_ATTRIBUTES          183  /* Attributes: */
#define KLANG_MSG_PROPERTIES_COMMENT             184  /* Comment: */
#define KLANG_MSG_YES                            185  /* yes */
#define KLANG_MSG_NO                             186  /* no */
#define KLANG_MSG_SIMULATED_CHANGES              160  /* Simulation: nothing was written. These changes would be made: */
#define KLANG_MSG_NOTHING_MATCHED                161  /* No entry of the archive is concerned: the archive was not changed. */
#define KLANG_MSG_SAVE_CHANGE_AS_NEW             187  /* Save the change as a new archive instead? */
#define KLANG_MSG_KIND_7Z                        230  /* 7z archives */
#define KLANG_MSG_KIND_CAB                       231  /* Cabinet files */
#define KLANG_MSG_KIND_LZH                       232  /* LZH archives */
#define KLANG_MSG_KIND_CPIO                      233  /* CPIO archives */
#define KLANG_MSG_KIND_AR                        234  /* AR archives and Debian packages */
#define KLANG_MSG_KIND_RPM                       235  /* RPM packages */
#define KLANG_MSG_INSIDE_ARCHIVE_READ_ONLY       236  /* This archive is opened from inside another archive ... */
#define KLANG_MSG_NESTED_COPY_QUESTION           237  /* To open this archive, a copy of it is written to the temporary folder ... */
#define KLANG_MSG_FOLDER_HOLDS_NOTHING           162  /* No entry of the archive lies below this folder; nothing was ext... */

/* GetGenericText */
#define KLANG_GEN_OK                               0  /* OK */
#define KLANG_GEN_CANCEL                           1  /* Cancel */
#define KLANG_GEN_ALL_FILES                       11  /* All files */
#define KLANG_GEN_TAR_LIBRARY_MISSING             12  /* The TAR library (tar.dll) cannot be loaded. */
#define KLANG_GEN_TAR_FUNCTION_MISSING            13  /* A function of the TAR library is missing; tar.dll may be ... */
#define KLANG_GEN_PASSWORD                        17  /* Password: */
#define KLANG_GEN_FONT                            26  /* &Font... */
#define KLANG_GEN_PROGRESS_TITLE                  30  /* Kestrelia - Progress */
#define KLANG_GEN_ADD_TO_ARCHIVE                  34  /* Add to archive */
#define KLANG_GEN_FILE                            36  /* File */
#define KLANG_GEN_INCLUDE_SUBFOLDERS              37  /* Include subfolders */
#define KLANG_GEN_COMPRESSION_LEVEL               38  /* Compression level: */
#define KLANG_GEN_FOLDER_IN_ARCHIVE               39  /* Folder in the archive: */
#define KLANG_GEN_STORE_NAMES_ONLY                40  /* Store only the file names */
#define KLANG_GEN_ISO_LIBRARY_MISSING             42  /* The ISO library (iso.dll) cannot be loaded. */
#define KLANG_GEN_ISO_FUNCTION_MISSING            43  /* A function of the ISO library is missing; iso.dll may be ... */
#define KLANG_GEN_NOT_FOUND                       45  /* was not found. */
#define KLANG_GEN_RAR_LIBRARY_MISSING             49  /* The RAR library (unrar.dll) cannot be loaded. */
#define KLANG_GEN_RAR_FUNCTION_MISSING            50  /* A function of the RAR library is missing; unrar.dll may b... */
#define KLANG_GEN_CHECK_FOR_UPDATES               77  /* Check for updates */
#define KLANG_GEN_NEW_VERSION                     78  /* New version */
#define KLANG_GEN_YOUR_VERSION                    79  /* Your version */
#define KLANG_GEN_UPDATE_INFO_FAILED              80  /* The information about new versions could not be downloaded. */
#define KLANG_GEN_DOWNLOAD_QUESTION               81  /* Download now? */
#define KLANG_GEN_DOWNLOAD                        82  /* &Download */
#define KLANG_GEN_YOUR_VERSION_BEFORE_NEWEST      83  /* Your version */
#define KLANG_GEN_IS_THE_NEWEST                   84  /* is the newest version. */
#define KLANG_GEN_READING_ARCHIVE                 85  /* Reading the archive */
#define KLANG_GEN_OF                              86  /* of */
#define KLANG_GEN_CONFIRM_PASSWORD                88  /* Confirm password: */
#define KLANG_GEN_PASSWORDS_DIFFER                89  /* The two passwords differ. */
#define KLANG_GEN_LEVEL_STORE                    100  /* Store */
#define KLANG_GEN_LEVEL_FASTEST                  101  /* Fastest */
#define KLANG_GEN_LEVEL_FAST                     102  /* Fast */
#define KLANG_GEN_LEVEL_NORMAL                   103  /* Normal */
#define KLANG_GEN_LEVEL_MAXIMUM                  104  /* Maximum */
#define KLANG_GEN_LEVEL_ULTRA                    105  /* Ultra */
#define KLANG_GEN_KEY_CTRL                       106  /* Ctrl */
#define KLANG_GEN_KEY_SHIFT                      107  /* Shift */
#define KLANG_GEN_KEY_ALT                        108  /* Alt */
#define KLANG_GEN_KEY_ENTER                      109  /* Enter */
#define KLANG_GEN_KEY_DEL                        110  /* Del */
#define KLANG_GEN_KEY_UP                         111  /* Up */
#define KLANG_GEN_KEY_ESC                        112  /* Esc */
#define KLANG_GEN_ARCHIVE_LABEL                  113  /* Archive: */
#define KLANG_GEN_ENTRY_LABEL                    114  /* Entry: */

/* GetPluginText */
#define KLANG_PLUGIN_VOLUME_MISSING                3  /* A volume of the archive could not be opened. */
#define KLANG_PLUGIN_TAR_DAMAGED                  10  /* The archive is damaged or cut short; the list shows the e... */

#endif

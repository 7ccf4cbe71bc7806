// The zone an archive came from (the system's "Zone.Identifier" stream, written by browsers
// and mail programs on a download) goes on to every file taken out of it, so that the
// warnings the system and other programs show for a downloaded file hold for its contents
// too. The option "mark extracted files" turns it off.
#pragma once
#include "services/base.h"

#include <string>

struct ZoneMark {
  int zone = -1;        // ZoneId: 0 this computer, 1 intranet, 2 trusted, 3 Internet, 4 restricted
  std::string hostUrl;  // where the archive came from, when its mark says
};

// The mark from a stream's text ("[ZoneTransfer]" with "ZoneId=3", in any line order, CR LF
// or LF); false when it names no zone in 0..4.
bool ParseZoneIdentifier(const std::string& text, ZoneMark* mark);
// Whether a run's files get the archive's mark: the option is on and the archive came from
// outside this computer (zone 0 warns of nothing).
bool MarksExtractedFiles(bool optionOn, const ZoneMark& archive);
// The text each file's stream gets: the archive's zone, the archive as the referrer (as the
// system writes it for files taken out of an archive), and the archive's origin when known.
std::string ZoneIdentifierText(const ZoneMark& archive, const char* archivePath);

// Reads the archive's mark for the run on this thread's worker and the files it writes;
// nothing when the option is off or the archive carries none.
void BeginZoneMarking(const char* archive);
void EndZoneMarking();
// Whether the running run marks its files (a caller may skip making the file's path).
bool IsZoneMarking();
// Gives a finished file (under its working name or its own) the run's mark, when there is one.
void MarkExtractedFile(const wchar_t* path);

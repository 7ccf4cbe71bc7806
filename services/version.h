// Which release this is: shown in the About box, carried in the version resource, compared by
// the update check with the release its server announces, and named in the release's files.
#pragma once

constexpr char kProductVersion[] = "1.2";
// The program file the update server's document describes this program by.
constexpr char kProgramFileName[] = "Kestrelia.exe";

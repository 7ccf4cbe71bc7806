// What the views do when a listing ends.
#pragma once
#include "services/base.h"

struct ArchiveControlBlock;

// The end of every kind's listing: the control shows the stored rows, the status bar counts
// them, the title names the archive, the kept sort order applies.
void PublishFinishedListing(ArchiveControlBlock* block);
// After the listing thread let go of the views: the folder presentation is refilled when
// shown; an archive with rows joins the recent list and enables its list and tool bar.
void ShowListedArchive(ArchiveControlBlock* block);

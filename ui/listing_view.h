// What the views do when a listing reports: the rows a listing thread stored are shown by
// the window's own thread.
#pragma once
#include "services/base.h"

struct ArchiveControlBlock;

// The end of every kind's listing: the control shows the stored rows, the status bar counts
// them, the title names the archive, the kept sort order applies.
void PublishFinishedListing(ArchiveControlBlock* block);
// After the listing thread let go of the views: the folder presentation is refilled when
// shown; an archive with rows joins the recent list and enables its list and tool bar.
void ShowListedArchive(ArchiveControlBlock* block);

// Installs the rows' view hooks (model/view_hooks.h). With a window, a listing thread's
// reports are posted to it as WM_APP_LISTING_EVENT, which it hands to HandleListingEvent;
// without one (tests, tools) they are shown at once by the reporting thread. Each report
// carries the number of its listing (a new one begins where the rows are cleared for an
// open); a report of a listing that is no longer the current one is dropped.
void InstallListingViews(HWND window);
void HandleListingEvent(WPARAM numbered, LPARAM parameter);

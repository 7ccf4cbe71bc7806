// Resource and command identifiers, in ranges per menu and dialog.
#pragma once

#define IDI_KESTRELIA 301

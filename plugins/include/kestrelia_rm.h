/* The optional "rm.dll", loaded at start-up when option bit 0x00100000 asks for it. The
   program calls none of its entry points: loading it is all it asks, and a missing library
   is harmless. A list of X(name, result, parameters) in the form of every plug-in list, empty
   until the program calls into it. */
#ifndef KESTRELIA_RM_H
#define KESTRELIA_RM_H

#define KESTRELIA_RM_FILE "rm.dll"
#define KESTRELIA_RM_API_LIST(X)

#endif

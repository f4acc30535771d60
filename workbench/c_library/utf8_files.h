// Replacements of fopen and tmpfile: C libraries are compiled with these names for them, so that
// they open names outside the code page and need no right to write to the root folder.
#pragma once

#include <stdio.h>

#ifdef __cplusplus
extern "C" {
#endif

FILE* fopen_utf8(const char* path, const char* mode);
/* In the user's folder of temporary files, gone when it is closed or the process ends. */
FILE* tmpfile_of_user(void);

#ifdef __cplusplus
}
#endif

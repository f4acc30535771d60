// iconv as POSIX has it, into UTF-8 only, by the code pages of Windows. A converter has no state
// between calls.
//
//   iconv_t converter = iconv_open("UTF-8", "WINDOWS-1252");
//   if (converter != (iconv_t)-1) iconv(converter, &from, &fromLeft, &to, &toLeft);
#pragma once

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef void* iconv_t;

/* (iconv_t)-1 with errno EINVAL when the system does not know the character set. */
iconv_t iconv_open(const char* to, const char* from);
/* (size_t)-1 with errno E2BIG, EILSEQ, or EINVAL for a text that ends within a character. */
size_t iconv(iconv_t converter, char** from, size_t* fromLeft, char** to, size_t* toLeft);
int iconv_close(iconv_t converter);

#ifdef __cplusplus
}
#endif

/* Fortran CHARACTER data, called in compiled Fortran's form: numbers by
 * reference, the length of a text by value behind all other arguments, a
 * CHARACTER result as a buffer and its length ahead of them. Texts are padded
 * with blanks and have no NUL; the byte 0x20 is the only blank. A length below
 * 0 counts as 0. No failures, no state: any thread. All routines use the
 * Microsoft x64 convention; names that C cannot spell are given by their link
 * names. */
#ifndef TARN_CHARACTER_H
#define TARN_CHARACTER_H

#ifdef __cplusplus
extern "C" {
#endif

/* The source without its leading (ADJUSTL) or trailing (ADJUSTR) blanks at the
 * left or right end of the result, cut or filled with blanks at the other end.
 * Both may be the same bytes. */
void ADJUSTL(char* result, long long result_length, const char* source,
             long long length) __asm__("ADJUSTL@");
void ADJUSTR(char* result, long long result_length, const char* source,
             long long length) __asm__("ADJUSTR@");

/* Moves a text to the left (TRIM) or right (TRIMR) end of its own bytes. */
void TRIM(char* text, long long length) __asm__("TRIM@");
void TRIMR(char* text, long long length) __asm__("TRIMR@");

/* ASCII capitals to small letters; lengths up to 2,147,483,647. */
void LCASE(char* text, long long length) __asm__("LCASE@");

/* Blanks, and in them the source, centred in `*width` characters: it begins at
 * character (*width - n) / 2 of the result, counted from 1, where n is its
 * length without trailing blanks (16-bit arithmetic), and at the first one where
 * that would lie before it. The result's end cuts. Gives the result's length. */
long long CENTRE(char* result, long long result_length, const char* source, const short* width,
                 long long length) __asm__("CENTRE@");

/* A C string of the source without its trailing blanks; a first byte stays even
 * if it is a blank. The destination has `*length` + 1 bytes. */
void MAKE_CSTRING(const char* source, char* destination,
                  const int* length) __asm__("MAKE_CSTRING@");

/* The C string in `*length` bytes, cut or filled with blanks; no NUL. */
void GET_CSTRING(char* destination, const char* source, const int* length) __asm__("GET_CSTRING@");

/* For C: puts `new_text` in place of the first `old_text` in the string.
 * Result: the replacement, or null if `old_text` does not occur. The string's
 * storage has room, and does not hold `new_text`. */
char* string_replace(char* text, const char* old_text, const char* new_text);

#ifdef __cplusplus
}
#endif

#endif

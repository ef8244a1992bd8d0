/* Sizes and null. size_t and ptrdiff_t have 64 bits; long has 32. */
#ifndef TARN_STDDEF_H
#define TARN_STDDEF_H

typedef __SIZE_TYPE__ size_t;
typedef __PTRDIFF_TYPE__ ptrdiff_t;
#ifndef __cplusplus
typedef __WCHAR_TYPE__ wchar_t;
#endif

/* Aligned as any type of C is. */
#ifndef _GCC_MAX_ALIGN_T
#define _GCC_MAX_ALIGN_T
typedef struct {
  long long tarn_integer __attribute__((aligned(__alignof__(long long))));
  long double tarn_real __attribute__((aligned(__alignof__(long double))));
} max_align_t;
#endif
#ifdef __cplusplus
typedef decltype(nullptr) nullptr_t;
#endif

#undef NULL
#ifdef __cplusplus
#define NULL __null
#else
#define NULL ((void*)0)
#endif

#undef offsetof
#define offsetof(type, member) __builtin_offsetof(type, member)

#endif

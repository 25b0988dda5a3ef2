/* KtFormula9 for programs in C, and for languages that call C: the shared library libktformula9. */
#ifndef KTFORMULA9_H
#define KTFORMULA9_H

#if defined(__GNUC__) && !defined(_WIN32)
#define KTF9_API __attribute__((visibility("default")))
#else
#define KTF9_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* The version of the library that the program runs with, such as "0.1.0"; the library's own text.
 */
KTF9_API const char* ktf9_version(void);

#ifdef __cplusplus
}
#endif

#endif

#pragma once
// Export macro of the OrvaneDatabase shared library. Symbols are hidden by default; every
// exported class and function is marked ORVANE_API. Define ORVANE_DATABASE_STATIC when the
// sources are linked directly (tests do) instead of through the shared library.
#if defined(ORVANE_DATABASE_STATIC)
#define ORVANE_API
#elif defined(_WIN32) || defined(__CYGWIN__)
#if defined(ORVANE_DATABASE_BUILDING)
#define ORVANE_API __declspec(dllexport)
#else
#define ORVANE_API __declspec(dllimport)
#endif
#else
#define ORVANE_API __attribute__((visibility("default")))
#endif

// Export.h - symbol visibility of the libkxSvg shared library.
#ifndef KX_SVG_EXPORT_H
#define KX_SVG_EXPORT_H

// The library is built with hidden visibility; only declarations marked
// KXSVG_API are exported. KXSVG_BUILD is defined while the library itself
// is compiled.
#if defined(_WIN32)
#if defined(KXSVG_BUILD)
#define KXSVG_API __declspec(dllexport)
#else
#define KXSVG_API __declspec(dllimport)
#endif
#else
#define KXSVG_API __attribute__((visibility("default")))
#endif

#endif

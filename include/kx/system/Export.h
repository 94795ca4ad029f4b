// Export.h - symbol visibility of the kxSystem layer.
#ifndef KX_SYSTEM_EXPORT_H
#define KX_SYSTEM_EXPORT_H

#if defined(_WIN32)
#if defined(KXSYSTEM_BUILD)
#define KXSYSTEM_API __declspec(dllexport)
#else
#define KXSYSTEM_API __declspec(dllimport)
#endif
#else
#define KXSYSTEM_API __attribute__((visibility("default")))
#endif

#endif

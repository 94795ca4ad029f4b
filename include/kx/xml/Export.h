// Export.h - symbol visibility of the kxXml layer.
#ifndef KX_XML_EXPORT_H
#define KX_XML_EXPORT_H

#if defined(_WIN32)
#if defined(KXXML_BUILD)
#define KXXML_API __declspec(dllexport)
#else
#define KXXML_API __declspec(dllimport)
#endif
#else
#define KXXML_API __attribute__((visibility("default")))
#endif

#endif

// Xml.h - every header of the kxXml layer.
#ifndef KX_XML_XML_H
#define KX_XML_XML_H

#include <kx/xml/XmlDiagnosticScope.h>
#include <kx/xml/XmlLibrary.h>
#include <kx/xml/XmlSaveContext.h>
#include <kx/xml/XmlSaxParser.h>

#endif

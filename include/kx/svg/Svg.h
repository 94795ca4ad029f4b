// Svg.h - every public header of libkxSvg, of the layers it exposes and of
// the geometry types it uses.
#ifndef KX_SVG_SVG_H
#define KX_SVG_SVG_H

#include <kx/svg/BoundingBox.h>
#include <kx/svg/Export.h>
#include <kx/svg/IOManager.h>
#include <kx/svg/Items.h>
#include <kx/svg/Library.h>
#include <kx/svg/Options.h>
#include <kx/svg/PathBuilder.h>
#include <kx/svg/PathParser.h>
#include <kx/svg/PathPrimitives.h>
#include <kx/svg/RenderingProperties.h>
#include <kx/svg/Segmentation.h>
#include <kx/svg/SegmentationOptions.h>
#include <kx/svg/SegmentedPrimitive.h>
#include <kx/svg/Simple.h> // and Preflight.h, which it includes
#include <kx/svg/TextSpace.h>
#include <kx/svg/Triangulate.h>
#include <kx/svg/Units.h>
#include <kx/svg/Version.h>
#include <kx/svg/WriterHelpers.h>

#include <kx/system/System.h>
#include <kx/xml/Xml.h>

#include <Wm4/Wm4.h>

#endif

// Wm4.h - the geometry types used by libkxSvg.
#ifndef WM4_H
#define WM4_H

#include <Wm4/Wm4BezierCurve2.h>
#include <Wm4/Wm4ColorRGBA.h>
#include <Wm4/Wm4Math.h>
#include <Wm4/Wm4Matrix3.h>
#include <Wm4/Wm4Vector2.h>
#include <Wm4/Wm4Vector4.h>

#endif

// System.h - every header of the kxSystem layer.
#ifndef KX_SYSTEM_SYSTEM_H
#define KX_SYSTEM_SYSTEM_H

#include <kx/system/kxCancel.h>
#include <kx/system/kxDirUtils.h>
#include <kx/system/kxIoDevice.h>
#include <kx/system/kxLog.h>
#include <kx/system/kxSoftwareVersion.h>
#include <kx/system/kxStringUtils.h>
#include <kx/system/kxSystemUtils.h>

#endif

#pragma once

// The whole core at once.

#include "Orvane/Orv.h"
#include "Orvane/OrvAssert.h"
#include "Orvane/OrvDays.h"
#include "Orvane/OrvDebounce.h"
#include "Orvane/OrvLog.h"
#include "Orvane/OrvLogContextHandler.h"
#include "Orvane/OrvObject.h"
#include "Orvane/OrvQueue.h"
#include "Orvane/OrvTaskQueue.h"
#include "Orvane/OrvTimeTrack.h"
#include "Orvane/macOS/OrvNSValueTransformer.h"
#include "Orvane/macOS/OrvSettings.h"
#include "Platform/AppKit/NSColor.h"
#include "Platform/AppKit/NSFont.h"
#include "Platform/AppKit/NSParagraphStyle.h"
#include "Platform/CoreServices/UTType.h"
#include "Platform/Dispatch/DispatchGroup.h"
#include "Platform/Dispatch/DispatchOnce.h"
#include "Platform/Dispatch/DispatchQueue.h"
#include "Platform/Foundation/Foundation.h"

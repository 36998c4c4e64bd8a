// Corvane: the whole public interface. A host program includes this header
// and links libcorvane.so.
#pragma once

#include "audioparse/audio_support.h"
#include "core/audio_params.h"
#include "core/bit_reader.h"
#include "core/corvane_app.h"
#include "core/frame.h"
#include "core/settings_catalogue.h"
#include "core/stream_exception.h"
#include "core/types.h"
#include "deinterlace/bob_deinterlacer.h"
#include "deinterlace/deinterlacer.h"
#include "deinterlace/smart_field_deinterlacer.h"
#include "deinterlace/video_interlacer.h"
#include "image/image_support.h"
#include "platform/bitmap.h"
#include "platform/buffer_alloc.h"
#include "platform/global_memory.h"
#include "platform/logger.h"
#include "platform/registry.h"
#include "platform/win_app.h"
#include "primitives/prim.h"

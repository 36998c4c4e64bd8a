// Corvane: the whole public interface. A host program includes this header
// and links libcorvane.so.
#pragma once

#include "audioparse/audio_support.h"
#include "audioproc/audio_limiter.h"
#include "audioproc/smpte302m.h"
#include "core/audio_params.h"
#include "core/bit_reader.h"
#include "core/frame.h"
#include "core/types.h"
#include "platform/buffer_alloc.h"
#include "platform/logger.h"

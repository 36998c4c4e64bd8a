// Corvane: the whole public interface. A host program includes this header
// and links libcorvane.so.
#pragma once

#include "audioparse/audio_support.h"
#include "core/audio_params.h"
#include "core/bit_reader.h"
#include "core/frame.h"
#include "core/stream_exception.h"
#include "core/types.h"
#include "platform/buffer_alloc.h"
#include "platform/logger.h"

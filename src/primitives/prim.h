// The primitives: pixel and signal kernels behind the dispatch frame. Each
// family header declares its entry points; a family's source defines, per
// primitive, one signature type shared by every variant, its constant table of
// kPrimSlotCount entries (portable `<operation>_c` in every slot until a faster
// `<operation>_<isa>` takes its own), and a one-line entry point:
//
//   int PrimCopyPlane(...) { return kCopyPlane[g_primSlot](...); }
#pragma once

#include "primitives/dispatch.h"
#include "primitives/prim_resize.h"
#include "primitives/prim_signal.h"
#include "primitives/prim_status.h"
#include "primitives/prim_plane.h"

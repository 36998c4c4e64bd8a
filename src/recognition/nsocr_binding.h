// The binding to the OCR engine module, a library that is opened at run time
// and never linked: a host without an engine still runs, and only the OCR
// support's Initialize fails.
//
// The module is OCR/libNSOCR.so. The environment variable CORVANE_OCR_ENGINE,
// when set, names the one file that is opened. Otherwise the folder OCR beside
// libcorvane.so is tried first, then the name as it stands (relative to the
// working directory).
#pragma once

#include <cstddef>
#include <cstdint>

// Every entry returns a 32-bit integer in which 0 is success; the engine's
// objects are 32-bit handles.
using NSOCRHandle = int32_t;
// The entries that nothing in this library calls keep a generic type.
using NSOCRProc = void (*)();

using NSOCR_Engine_Initialize = int32_t (*)();
using NSOCR_Engine_Uninitialize = int32_t (*)();
using NSOCR_Cfg_Create = int32_t (*)(NSOCRHandle* configuration);
using NSOCR_Cfg_Destroy = int32_t (*)(NSOCRHandle configuration);
// Reads the engine's options from a file; a relative name is taken in the
// engine module's own folder.
using NSOCR_Cfg_LoadOptions = int32_t (*)(NSOCRHandle configuration, const wchar_t* fileName);
using NSOCR_Ocr_Create = int32_t (*)(NSOCRHandle configuration, NSOCRHandle* recognition);
using NSOCR_Ocr_Destroy = int32_t (*)(NSOCRHandle recognition);
using NSOCR_Img_Create = int32_t (*)(NSOCRHandle recognition, NSOCRHandle* image);
using NSOCR_Img_Destroy = int32_t (*)(NSOCRHandle image);
// Loads packed 24-bit pixels, R, G, B, rows from the top, 3 * width bytes a row.
using NSOCR_Img_LoadBmpData = int32_t (*)(NSOCRHandle image, const uint8_t* pixels, int32_t width, int32_t height,
                                          int32_t flags);
// Recognises the picture loaded into the image object and keeps its text there.
using NSOCR_Img_OCR = int32_t (*)(NSOCRHandle image);
// Copies the recognised text. `*length` holds the buffer's room in characters,
// its terminating zero included, and comes back as the text's length without
// the zero. 0 when the whole text and its zero were copied, 1 when the room is
// too small (nothing is copied then; `text` may be null to ask for the
// length), negative for an unknown handle. Empty until Img_OCR has read.
using NSOCR_Img_GetImgText = int32_t (*)(NSOCRHandle image, wchar_t* text, int32_t* length);

// The entry table in slot order: X(name, type) for each of the 66 entries.
#define CORVANE_NSOCR_ENTRIES(X)                    \
  X(Engine_Initialize, NSOCR_Engine_Initialize)     \
  X(Engine_Uninitialize, NSOCR_Engine_Uninitialize) \
  X(Engine_SetDataDirectory, NSOCRProc)             \
  X(Engine_GetVersion, NSOCRProc)                   \
  X(Cfg_Create, NSOCR_Cfg_Create)                   \
  X(Cfg_Destroy, NSOCR_Cfg_Destroy)                 \
  X(Cfg_LoadOptions, NSOCR_Cfg_LoadOptions)         \
  X(Cfg_SaveOptions, NSOCRProc)                     \
  X(Cfg_GetOption, NSOCRProc)                       \
  X(Cfg_SetOption, NSOCRProc)                       \
  X(Cfg_DeleteOption, NSOCRProc)                    \
  X(Ocr_Create, NSOCR_Ocr_Create)                   \
  X(Ocr_Destroy, NSOCR_Ocr_Destroy)                 \
  X(Img_Create, NSOCR_Img_Create)                   \
  X(Img_Destroy, NSOCR_Img_Destroy)                 \
  X(Img_LoadFile, NSOCRProc)                        \
  X(Img_LoadFromMemory, NSOCRProc)                  \
  X(Img_LoadBmpData, NSOCR_Img_LoadBmpData)         \
  X(Img_GetPageCount, NSOCRProc)                    \
  X(Img_SetPage, NSOCRProc)                         \
  X(Img_GetSize, NSOCRProc)                         \
  X(Img_DrawToDC, NSOCRProc)                        \
  X(Img_GetBmpData, NSOCRProc)                      \
  X(Img_DeleteAllBlocks, NSOCRProc)                 \
  X(Img_AddBlock, NSOCRProc)                        \
  X(Img_DeleteBlock, NSOCRProc)                     \
  X(Img_GetBlockCnt, NSOCRProc)                     \
  X(Img_GetBlock, NSOCRProc)                        \
  X(Img_GetImgText, NSOCR_Img_GetImgText)           \
  X(Img_OCR, NSOCR_Img_OCR)                         \
  X(Img_LoadBlocks, NSOCRProc)                      \
  X(Img_SaveBlocks, NSOCRProc)                      \
  X(Img_GetSkewAngle, NSOCRProc)                    \
  X(Img_GetPixLineCnt, NSOCRProc)                   \
  X(Img_GetPixLine, NSOCRProc)                      \
  X(Img_GetScaleFactor, NSOCRProc)                  \
  X(Img_CalcPointPosition, NSOCRProc)               \
  X(Blk_GetType, NSOCRProc)                         \
  X(Blk_SetType, NSOCRProc)                         \
  X(Blk_GetRect, NSOCRProc)                         \
  X(Blk_GetText, NSOCRProc)                         \
  X(Blk_GetLineCnt, NSOCRProc)                      \
  X(Blk_GetLineText, NSOCRProc)                     \
  X(Blk_GetWordCnt, NSOCRProc)                      \
  X(Blk_GetWordText, NSOCRProc)                     \
  X(Blk_GetCharCnt, NSOCRProc)                      \
  X(Blk_GetCharRect, NSOCRProc)                     \
  X(Blk_GetCharText, NSOCRProc)                     \
  X(Blk_GetCharQual, NSOCRProc)                     \
  X(Blk_GetTextRect, NSOCRProc)                     \
  X(Blk_Inversion, NSOCRProc)                       \
  X(Blk_Rotation, NSOCRProc)                        \
  X(Blk_Mirror, NSOCRProc)                          \
  X(Blk_IsWordInDictionary, NSOCRProc)              \
  X(Blk_SetRect, NSOCRProc)                         \
  X(Blk_GetWordQual, NSOCRProc)                     \
  X(Svr_Create, NSOCRProc)                          \
  X(Svr_Destroy, NSOCRProc)                         \
  X(Svr_NewDocument, NSOCRProc)                     \
  X(Svr_AddPage, NSOCRProc)                         \
  X(Svr_SaveToFile, NSOCRProc)                      \
  X(Scan_Create, NSOCRProc)                         \
  X(Scan_Enumerate, NSOCRProc)                      \
  X(Scan_ScanToImg, NSOCRProc)                      \
  X(Scan_ScanToFile, NSOCRProc)                     \
  X(Scan_Destroy, NSOCRProc)

#define CORVANE_NSOCR_MEMBER(name, type) type name = nullptr;
// The engine's entries, one function pointer a slot; null for an entry that
// the module does not export.
struct NSOCREntryTable {
  CORVANE_NSOCR_ENTRIES(CORVANE_NSOCR_MEMBER)
};
#undef CORVANE_NSOCR_MEMBER

inline constexpr size_t kNSOCREntryCount = 66;
static_assert(sizeof(NSOCREntryTable) == kNSOCREntryCount * sizeof(NSOCRProc), "one pointer a slot, no gaps");

// The engine module, opened once and closed by the destructor (see the file
// comment for where it is looked for).
class TNSOCR {
 public:
  TNSOCR() = default;
  TNSOCR(const TNSOCR&) = delete;
  TNSOCR& operator=(const TNSOCR&) = delete;
  virtual ~TNSOCR();

  // Opens the module and resolves every entry by name; a missing entry only
  // leaves its slot null. False when no module file could be opened. A second
  // call returns true and leaves the table as it is.
  bool Load();

  // Slot `index` of the table as a generic pointer, null when it is empty.
  NSOCRProc Entry(size_t index) const;
  // The exported name of slot `index`.
  static const char* EntryName(size_t index);

  void* library = nullptr;
  bool loaded = false;
  NSOCREntryTable entries;
};

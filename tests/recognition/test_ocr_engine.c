/* A stand-in OCR engine for the binding and OCR support tests. It exports
 * every entry name of the binding's table, records the calls it gets, and
 * "reads" a picture as its size and the mean of its red bytes, followed by
 * characters that the text filter removes. Setting CORVANE_TEST_ENGINE_FAIL to
 * an entry's name makes that entry fail. Built twice: whole, and with
 * TEST_ENGINE_WITHOUT_IMG_CREATE without the entry Img_Create. */
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <wchar.h>

static char callLog[8192];
static int32_t nextHandle = 1;
static int32_t loadedWidth;
static int32_t loadedHeight;
static long redMean;
static wchar_t recognised[128];

static int32_t Called(const char* name) {
  const size_t used = strlen(callLog);
  snprintf(callLog + used, sizeof callLog - used, "%s%s", used != 0 ? " " : "", name);
  const char* failing = getenv("CORVANE_TEST_ENGINE_FAIL");
  return failing != NULL && strcmp(failing, name) == 0 ? -1 : 0;
}

static int32_t Create(const char* name, int32_t* handle) {
  const int32_t result = Called(name);
  if (result == 0) *handle = nextHandle++;
  return result;
}

const char* TestEngine_CallLog(void) { return callLog; }
void TestEngine_ClearLog(void) { callLog[0] = '\0'; }

int32_t Engine_Initialize(void) { return Called("Engine_Initialize"); }
int32_t Engine_Uninitialize(void) { return Called("Engine_Uninitialize"); }
int32_t Cfg_Create(int32_t* configuration) { return Create("Cfg_Create", configuration); }
int32_t Cfg_Destroy(int32_t configuration) { (void)configuration; return Called("Cfg_Destroy"); }
int32_t Ocr_Create(int32_t configuration, int32_t* recognition) {
  return configuration == 0 ? -2 : Create("Ocr_Create", recognition);
}
int32_t Ocr_Destroy(int32_t recognition) { (void)recognition; return Called("Ocr_Destroy"); }
#ifndef TEST_ENGINE_WITHOUT_IMG_CREATE
int32_t Img_Create(int32_t recognition, int32_t* image) {
  return recognition == 0 ? -2 : Create("Img_Create", image);
}
#endif
int32_t Img_Destroy(int32_t image) { (void)image; return Called("Img_Destroy"); }

int32_t Cfg_LoadOptions(int32_t configuration, const wchar_t* fileName) {
  const int32_t result = Called("Cfg_LoadOptions");
  return configuration == 0 || wcscmp(fileName, L"Config.dat") != 0 ? -2 : result;
}

int32_t Img_LoadBmpData(int32_t image, const uint8_t* pixels, int32_t width, int32_t height, int32_t flags) {
  const int32_t result = Called("Img_LoadBmpData");
  if (image == 0 || flags != 0 || result != 0) return result != 0 ? result : -2;
  long sum = 0;
  for (long i = 0; i < (long)width * height; ++i) sum += pixels[3 * i];
  loadedWidth = width;
  loadedHeight = height;
  redMean = width * height != 0 ? sum / ((long)width * height) : 0;
  return 0;
}

int32_t Img_OCR(int32_t image) {
  const int32_t result = Called("Img_OCR");
  if (image == 0 || result != 0) return result != 0 ? result : -2;
  swprintf(recognised, sizeof recognised / sizeof recognised[0], L"%dx%d m%ld !\n", loadedWidth, loadedHeight, redMean);
  return 0;
}

int32_t Img_GetImgText(int32_t image, wchar_t* text, int32_t* length) {
  const int32_t result = Called("Img_GetImgText");
  if (image == 0 || result != 0) return result != 0 ? result : -2;
  const int32_t room = *length;
  *length = (int32_t)wcslen(recognised);
  if (text == NULL || room <= *length) return 1;
  wcscpy(text, recognised);
  return 0;
}

/* The entries that nothing calls: present, so that every slot resolves. */
#define UNUSED_ENTRY(name) void name(void) {}
UNUSED_ENTRY(Engine_SetDataDirectory) UNUSED_ENTRY(Engine_GetVersion) UNUSED_ENTRY(Cfg_SaveOptions)
UNUSED_ENTRY(Cfg_GetOption) UNUSED_ENTRY(Cfg_SetOption) UNUSED_ENTRY(Cfg_DeleteOption) UNUSED_ENTRY(Img_LoadFile)
UNUSED_ENTRY(Img_LoadFromMemory) UNUSED_ENTRY(Img_GetPageCount) UNUSED_ENTRY(Img_SetPage) UNUSED_ENTRY(Img_GetSize)
UNUSED_ENTRY(Img_DrawToDC) UNUSED_ENTRY(Img_GetBmpData) UNUSED_ENTRY(Img_DeleteAllBlocks) UNUSED_ENTRY(Img_AddBlock)
UNUSED_ENTRY(Img_DeleteBlock) UNUSED_ENTRY(Img_GetBlockCnt) UNUSED_ENTRY(Img_GetBlock) UNUSED_ENTRY(Img_LoadBlocks)
UNUSED_ENTRY(Img_SaveBlocks) UNUSED_ENTRY(Img_GetSkewAngle) UNUSED_ENTRY(Img_GetPixLineCnt)
UNUSED_ENTRY(Img_GetPixLine) UNUSED_ENTRY(Img_GetScaleFactor) UNUSED_ENTRY(Img_CalcPointPosition)
UNUSED_ENTRY(Blk_GetType) UNUSED_ENTRY(Blk_SetType) UNUSED_ENTRY(Blk_GetRect) UNUSED_ENTRY(Blk_GetText)
UNUSED_ENTRY(Blk_GetLineCnt) UNUSED_ENTRY(Blk_GetLineText) UNUSED_ENTRY(Blk_GetWordCnt) UNUSED_ENTRY(Blk_GetWordText)
UNUSED_ENTRY(Blk_GetCharCnt) UNUSED_ENTRY(Blk_GetCharRect) UNUSED_ENTRY(Blk_GetCharText) UNUSED_ENTRY(Blk_GetCharQual)
UNUSED_ENTRY(Blk_GetTextRect) UNUSED_ENTRY(Blk_Inversion) UNUSED_ENTRY(Blk_Rotation) UNUSED_ENTRY(Blk_Mirror)
UNUSED_ENTRY(Blk_IsWordInDictionary) UNUSED_ENTRY(Blk_SetRect) UNUSED_ENTRY(Blk_GetWordQual) UNUSED_ENTRY(Svr_Create)
UNUSED_ENTRY(Svr_Destroy) UNUSED_ENTRY(Svr_NewDocument) UNUSED_ENTRY(Svr_AddPage) UNUSED_ENTRY(Svr_SaveToFile)
UNUSED_ENTRY(Scan_Create) UNUSED_ENTRY(Scan_Enumerate) UNUSED_ENTRY(Scan_ScanToImg) UNUSED_ENTRY(Scan_ScanToFile)
UNUSED_ENTRY(Scan_Destroy)

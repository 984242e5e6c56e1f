// The flat pen interface: the one engine of the process behind the PX
// functions the windows call, the API_ forwarders and the plain engine
// functions they forward to. Every function here has C linkage.
//
// A handle is the engine object itself, passed around as an opaque pointer.
// Every plain function accepts a null handle and then does nothing.
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

// ---- Upper layer: knows the device, keeps the engine in g_be. ----

// The one engine; CloseDevice destroys it. Null until the first PXPenSet.
extern void *g_be;
// Background as 0xAARRGGBB, used by PXClearSign; starts at 0x1FFFFFFF.
extern unsigned int nBackColor;

// Replaces the engine by a new one over the caller's buffer of width * height
// words. color is 0x00BBGGRR (red in the low byte), unlike the background.
// Null while the device is closed.
void *PXPenSet(int width, int height, void *pixels, unsigned int color, int style, float size);
// New background (its alpha forced to 0x1F), filled at once; 0, or 3 when the
// device is closed or handle is not the current engine.
int PXSetBkColor(void *handle, unsigned int color);
// Fills the current engine with the background; 0, or 3 without device or engine.
int PXClearSign(void);
// The stroke calls; a handle other than the current engine is ignored.
void PXBeginStroke(void *handle);
void PXStrokePoint(void *handle, int *rect, float x, float y, float pressure);
void PXEndStroke(void *handle, int *rect);

// ---- Lower layer: a facade over one engine handle. ----

// New engine over pixels (width * height words, all set to 0xFFFFFFFF here);
// null if a side is below 1 or pixels is null.
void *Initialize(int width, int height, int *pixels);
// Ink of the current brush, bytes in pixel memory order: blue first.
void SetColor(void *handle, unsigned char b, unsigned char g, unsigned char r, unsigned char a);
void SetSize(void *handle, float size);
// The interface's pen size sits above a fixed 5 pixels: the brush gets size + 5.
void SetPenSize(void *handle, float size);
// Size of the current brush; 0.0 for a null handle.
float GetSize(void *handle);
// Clears the stroke surface and fills the backing and display with color
// (low byte to blue).
void FillSurface(void *handle, int color);
// Selects the brush of a pen style, carrying the ink colour over.
void SetPenStyle(void *handle, int style);
void BeginStroke(void *handle);
// rect receives left, top, right, bottom of what changed on the display.
void StrokePoint(void *handle, int *rect, float x, float y, float pressure);
void EndStroke(void *handle, int *rect);
// Destroys the engine; 1, or 0 for a null handle.
int DestroyEngine(void *handle);
void SetFadeStep(void *handle, float step);
// Copies a tight array of width * height words onto the display.
void ResetScan(void *handle, int *scan);
// Merges recorded ink into the display and backing where the display is
// still fully transparent. Two list forms, see the README of pen/.
void FusionDataToDisplay(void *handle, int *data, int count);
// Hands the bristle brush a dab image of width * height words, rows width
// apart. The pixels stay the caller's and must outlive the brush's use; the
// wrapper made over them is never released, also when a later call replaces it.
void SetBristlDabImage(void *handle, int width, int height, int *pixels);
// Hands the pattern brush of style 23 or 24 a grey pattern of width * height
// bytes, rows width apart (255 full ink, 0 none). The bytes are copied into a
// bitmap that the brush owns from then on; the former pattern and its scaled
// levels are released. Other styles, a side below 1 or null bytes: nothing.
void SetPatternDabImage(void *handle, int style, int width, int height, const unsigned char *bits);

void *API_Initialize(int width, int height, int *pixels);
void API_SetColor(void *handle, unsigned char b, unsigned char g, unsigned char r, unsigned char a);
void API_SetSize(void *handle, float size);
void API_SetPenSize(void *handle, float size);
float API_GetSize(void *handle);
void API_FillSurface(void *handle, int color);
void API_SetPenStyle(void *handle, int style);
void API_BeginStroke(void *handle);
void API_StrokePoint(void *handle, int *rect, float x, float y, float pressure);
void API_EndStroke(void *handle, int *rect);
int API_DestroyEngine(void *handle);

#ifdef __cplusplus
}
#endif

// The capture state shared by the dialog, the worker and the loaders of
// this folder; plain variables, as the dialog and worker hand over by order.
#pragma once

class CapFingerDlg;

extern CapFingerDlg *g_FprDlg;
extern void *g_FprHandle;  // AraTrustFinger device handle
extern int g_nFprCannel;   // ID_FprCap channel, -1 at first
extern int g_nImgWidth;    // frame size from the scanner
extern int g_nImgHeight;

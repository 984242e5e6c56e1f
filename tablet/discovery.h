// The search of the bus for a catalogued tablet. It only finds a row; the
// selection is kept by the open-device state.
#pragma once

// Row of the last enumerated HID device whose product id is catalogued (the
// vendor is not compared; 0 for vid or pid matches any), or -1. Each failure
// is logged. With contextReady false the USB context is set up first.
int discoverCatalogueRow(unsigned short vid, unsigned short pid, bool contextReady);

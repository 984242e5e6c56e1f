// Loads "ID_FprCap.so" by bare name, as the capture dialog does; exit status
// 0 when it loaded. Linked like the program, with the search path of the
// fingerprint library.
#include <QCoreApplication>
#include <QLibrary>

#include "fingerprint/capfingerdlg.h"

int main(int argc, char **argv)
{
    QCoreApplication app(argc, argv);
    QLibrary lib("ID_FprCap.so");
    if (!lib.load())
        return 1;
    // Proves the library is the one from lib/: the stand-in's entry point.
    return lib.resolve("LIVESCAN_Init") != nullptr && g_pFpr_Info[0].vid == 0x2309 ? 0 : 2;
}

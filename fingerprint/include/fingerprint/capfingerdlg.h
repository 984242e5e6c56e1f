// The fingerprint test: which scanner is on the bus, its closed driver
// library loaded at run time, the capture dialog and its worker thread.
#pragma once

#include <QDialog>
#include <QRect>
#include <QThread>
#include <atomic>
#include <mutex>

class QCloseEvent;
class QImage;
class QLibrary;
class QPaintEvent;
class Ui_CapFingerDlg;

// Writes the type of the attached scanner (the row of g_pFpr_Info), or -1
// when scanners are listed but none is known. 0 when a scanner was found, 1
// when none was, 7 when the USB context could not start. The caller presets
// *type to -1 and looks only at it.
extern "C" int GetFprType(int *type);

// The known scanners: vendor id, product id, 12 bytes never read. The row's
// index is the scanner type.
struct FprInfo {
    unsigned short vid;
    unsigned short pid;
    unsigned char reserved[12];
};
extern const FprInfo g_pFpr_Info[3];

// Pulls frames until four in a row score above 60, or until 30 s of failed
// calls, then builds Fprimg and emits sendFpr().
class FprThread : public QThread {
    Q_OBJECT
public:
    explicit FprThread(QObject *parent = nullptr) : QThread(parent) {}

    // Set by the dialog to end the capture. One byte, no lock; atomic only so
    // that the worker is sure to see the store.
    std::atomic<bool> m_bStop{false};

signals:
    void sendFpr();

protected:
    void run() override;
};

class CapFingerDlg : public QDialog {
    Q_OBJECT
public:
    explicit CapFingerDlg(QWidget *parent = nullptr);
    ~CapFingerDlg() override;

    // Loads and opens the scanner of `type` and starts the worker; above 0
    // means the caller may run the dialog. On failure the operator has
    // already been told.
    int StartCapture(int type);
    // Asks the worker to stop; waits at most 300 ms for it.
    void EndCapture();

    // 1 when the scanner is open, 0 or -1 when not.
    int loadHYFpr();
    int loadAraFpr();

    QLibrary *m_pCapLib = nullptr;      // "ID_FprCap.so"
    QLibrary *m_pQualityLib = nullptr;  // "ID_Fpr.so", optional
    QLibrary *m_pAraLib = nullptr;      // "libAraTrustFinger.so"
    QWidget *m_pParent = nullptr;       // parent of the message boxes
    QRect m_rcImage;                    // where the image is drawn
    FprThread *m_pThread = nullptr;     // the worker, null when none
    int m_nFprType = -1;                // 0 ID_FprCap family, above 0 AraTrustFinger family
    Ui_CapFingerDlg *ui = nullptr;

public slots:
    void destroyth();
    void receiveFpr();
    void on_CapButton_clicked();

private slots:
    // The part of receiveFpr that belongs to the dialog's thread: where the
    // w x h picture goes, and the repaint.
    void placePicture(int w, int h);

protected:
    void paintEvent(QPaintEvent *event) override;
    void closeEvent(QCloseEvent *event) override;
};

// The capture's results, which the window and the tests look at; the rest
// of the capture state is the folder's own (capture_state.h).
extern QImage *Fprimg;             // the finished image
// Held while Fprimg is created or filled (worker), drawn or deleted (dialog),
// and by anyone else who looks at it while a worker may run: a new capture
// can drop the picture while a running worker is still building it.
extern std::mutex g_FprImgLock;
extern unsigned char *g_pFPBmpData;  // best bitmap frame so far (malloc)
extern unsigned char *g_pFPRawData;  // best raw frame so far (malloc)

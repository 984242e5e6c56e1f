#include "mainwindow.h"

#include <QDesktopWidget>
#include <QMessageBox>
#include <QPainter>
#include <QThread>
#include <QItemSelection>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "fingerprint/capfingerdlg.h"
#include "log/writelog.h"
#include "pen/PXAbandon.h"
#include "signextenddlg.h"
#include "slateprobe/version.h"
#include "ui_mainwindow.h"


MainWindow *g_signWnd = nullptr;
int g_rect[4];

MainWindow::MainWindow(QWidget *parent, Qt::WindowFlags flags)
    : QMainWindow(parent, flags), m_szMin(-1, -1), ui(new Ui::MainWindow)
{
    char banner[] = "\n\t\t\t\tversion:" SP_VERSION;
    WriteLog(banner, 0);

    ui->setupUi(this);

    QT_WARNING_PUSH
    QT_WARNING_DISABLE_DEPRECATED
    const QRect screen = QApplication::desktop()->screenGeometry(0);
    QT_WARNING_POP
    QRect window = geometry();
    const int x = screen.left() + (screen.right() - screen.left() - (window.right() - window.left())) / 2;
    const int y = screen.top() + (screen.bottom() - screen.top() - (window.bottom() - window.top())) / 2;
    window.moveTo(x, y);
    m_rcWindow = window;
    move(x, y);

    setWindowTitle(QString::fromUtf8("塔维手写设备测试程序V" SP_VERSION));
    g_signWnd = this;

    m_pDrawWidget = new drawWidget(this);
    ui->horizontalLayout_4->addWidget(m_pDrawWidget);
    m_pDrawWidget->move(10, 10);
    m_pDrawWidget->setFixedSize(400, m_nImgHeight);
    m_pDrawWidget->show();

    ui->listView->move(10, 330);
    ui->listView->setFixedSize(400, 165);

    // The model stays with the interface thread: every list update is
    // delivered there (pad events are queued to it), so it needs no other
    // thread's affinity.
    ui->listView->setModel(&m_model);
    ui->listView->setEditTriggers(QAbstractItemView::NoEditTriggers);
    ui->listView->setContextMenuPolicy(Qt::CustomContextMenu);

    qRegisterMetaType<TOUCH_INFO>("TOUCH_INFO");
    qRegisterMetaType<QVector<int>>("QVector<int>");
    qRegisterMetaType<QItemSelection>("QItemSelection");
    qRegisterMetaType<QList<QPersistentModelIndex>>("QList<QPersistentModelIndex>");
    qRegisterMetaType<QAbstractItemModel::LayoutChangeHint>("QAbstractItemModel::LayoutChangeHint");
}

MainWindow::~MainWindow()
{
    on_button_Close_clicked();
    if (m_pCapDlg) {
        if (m_pCapDlg->isWindow())
            m_pCapDlg->close();
        m_pCapDlg->deleteLater();
    }
    m_pDrawWidget->close();
    delete m_pDrawWidget;
    free(m_pSurface);
    delete m_pImage;
    delete m_pFormerImage;
    if (m_pTimer) {
        m_pTimer->stop();
        delete m_pTimer;
    }
    delete ui;
    if (g_signWnd == this)
        g_signWnd = nullptr;
}

void MainWindow::informationBox(const QString &text)
{
    QMessageBox::information(this, "SlateProbe", text, QMessageBox::Ok);
}

void MainWindow::errorBox(int code)
{
    char text[256] = {};
    GetErrorMessage(code, text);
    informationBox(QString::fromUtf8(text));
}

void MainWindow::on_button_Open_clicked()
{
    if (GetDeviceStatus() != 0) {
        informationBox("未连接塔维手写设备");
        AddListTxt("未连接塔维手写设备");
        return;
    }
    AddListTxt("打开手写设备测试手写");
    m_nImgWidth = (m_nImgWidth + 3) / 4 * 4;

    int result = OpenDevice();
    if (result != 0) {
        errorBox(result);
        AddListTxt("打开手写设备失败");
        return;
    }
    result = GetDeviceInfo(&m_devInfo);
    if (result != 0) {
        errorBox(result);
        AddListTxt("获取设备信息失败");
        return;
    }
    if (RegisterTouchInfoCallBack(pen_event_listener) != 0) {
        informationBox("注册回调函数失败");
        AddListTxt("注册回调函数失败");
        // and on: the fields are still worth showing
    }

    // The identity block: category, pid (4 bytes at an odd place),
    // industry, number, all little-endian.
    const unsigned char *serial = m_devInfo.serial;
    int32_t idPid;
    int16_t industry, number;
    memcpy(&idPid, serial + 3, sizeof idPid);
    memcpy(&industry, serial + 7, sizeof industry);
    memcpy(&number, serial + 9, sizeof number);
    ui->lineEdit_vid->setText("5E1B");  // fixed, whatever the device says
    ui->lineEdit_productid->setText(QString::number(m_devInfo.pid, 16));
    ui->lineEdit_category->setText(QString::number(serial[2]));
    ui->lineEdit_pid->setText(QString::number(idPid));
    ui->lineEdit_industry->setText(QString::number(industry));
    ui->lineEdit_serial->setText(QString::number(number));
    ui->lineEdit_version->setText(QString::fromUtf8(m_devInfo.firmware, strnlen(m_devInfo.firmware, sizeof m_devInfo.firmware)));

    if (m_devInfo.isPad == 0) {
        if (!m_pSignDlg)
            m_pSignDlg = new SignExtendDlg(m_devInfo.maxX, m_devInfo.maxY, this);
        // A second Open without Close connects again: each event then
        // reaches the dialog twice.
        connect(this, SIGNAL(sendMsg(TOUCH_INFO)), m_pSignDlg, SLOT(receiveMsg(TOUCH_INFO)), Qt::AutoConnection);
        if (m_pSignDlg->StartSign())
            m_pSignDlg->show();
        else
            m_pSignDlg->close();
    } else if (m_devInfo.isPad == 1) {
        // Each Open makes a fresh image and surface, as it always has, but
        // the earlier Open's pair is freed rather than left behind: the tool
        // stays open all day while tablets come and go, and 800 KB an Open
        // adds up. The new blocks are made before the old go, so the
        // pointers still change with every Open.
        QImage *formerImage = m_pImage;
        unsigned int *formerSurface = m_pSurface;
        m_pImage = new QImage(m_nImgWidth, m_nImgHeight, QImage::Format_ARGB32);
        m_pImgBits = m_pImage->bits();
        const size_t bytes = size_t(m_nImgWidth) * m_nImgHeight * 4;
        m_pSurface = static_cast<unsigned int *>(malloc(bytes));
        m_hPen = PXPenSet(m_nImgWidth, m_nImgHeight, m_pSurface, 0, 3, 3.0f);
        PXSetBkColor(m_hPen, m_nBkColor);
        memcpy(m_pImgBits, m_pSurface, bytes);
        retireImage(formerImage);
        // The former surface was drawn on by the engine that PXPenSet has
        // just replaced, or that CloseDevice destroyed. Only when PXPenSet
        // refused (the pad went away meanwhile) may an engine over it still
        // be alive; it is then left behind, as before.
        if (m_hPen || !g_be)
            free(formerSurface);
        else
            PXAbandon(formerSurface);
    }
}

// An image replaced by Open. drawWidget keeps painting the image it was
// given until the next pen event hands it the new one, so an image it
// still holds is kept until then (at most one such); any other is freed.
void MainWindow::retireImage(QImage *image)
{
    if (!image)
        return;
    if (m_pDrawWidget->BackImg() != image) {
        delete image;
        return;
    }
    delete m_pFormerImage;  // not the one drawWidget holds
    m_pFormerImage = image;
}

void MainWindow::on_button_Close_clicked()
{
    if (m_pSignDlg) {
        if (m_pSignDlg->isWindow())
            m_pSignDlg->close();
        delete m_pSignDlg;
        m_pSignDlg = nullptr;
    }
    UnregisterTouchInfoCallBack(pen_event_listener);
    CloseDevice();
    // The reader has stopped: pad events it queued before are stale now.
    ++m_nCloseCount;
    if (m_pImage)
        m_pImage->fill(0xFFFFFF);
    ui->lineEdit_productid->setText("");
    ui->lineEdit_vid->setText("");
    ui->lineEdit_category->setText("");
    ui->lineEdit_pid->setText("");
    ui->lineEdit_industry->setText("");
    ui->lineEdit_serial->setText("");
    m_model.clear();  // lineEdit_version keeps the firmware on purpose
}

void MainWindow::on_button_CapFinger_clicked()
{
    int result = SetMode(2);
    if (result != 0) {
        errorBox(result);
        if (result == 1)
            return;
    }
    int type = -1;
    GetFprType(&type);
    if (type < 0) {
        AddListTxt("未连接指纹设备");
        return;
    }
    if (!m_pCapDlg)
        m_pCapDlg = new CapFingerDlg(this);
    if (m_pCapDlg->StartCapture(type) > 0)
        m_pCapDlg->exec();
    m_pCapDlg->close();
    SetMode(3);
}

void MainWindow::onTimeOut()
{
    static int timeFlag = 1;
    if (timeFlag) {
        on_button_Open_clicked();
        timeFlag = 0;
    } else {
        on_button_Close_clicked();
        timeFlag = 1;
    }
}

void MainWindow::AddListTxt(char *text)
{
    const int row = m_model.rowCount();
    m_model.insertRow(row);
    m_model.setItem(row, 0, new QStandardItem(QString::fromUtf8(text)));
    ui->listView->setCurrentIndex(m_model.index(row, 0));
    m_bRepaintAll = true;
}

void MainWindow::paintEvent(QPaintEvent *)
{
    QPainter painter(this);
}

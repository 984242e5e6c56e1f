// The peer of the start-up figure: the least a Qt Widgets program of ours
// does to show a window like the tool's, the same size (660 x 500), the same
// title and the same 16-point font with its text, and nothing else.
#include <QApplication>
#include <QLabel>
#include <QWidget>

int main(int argc, char *argv[])
{
    QApplication app(argc, argv);
    QWidget window;
    window.setWindowFlags(Qt::Dialog);
    window.setWindowTitle(QString::fromUtf8("塔维手写设备测试程序V1.51"));
    window.resize(660, 500);
    QLabel label(QString::fromUtf8("技术支持：SlateProbe 项目组\n问题请附上 /tmp/PXSlateProbe.log"), &window);
    label.setStyleSheet(QString::fromUtf8("background:transparent;\nfont: 16pt \"仿宋_GB2312\";"));
    label.setGeometry(10, 420, 640, 61);
    window.show();
    return app.exec();
}

// The splash screen.
#include "ui/main/frmSplash.h"

#include "ui/common/AppInfo.h"

#include <QLabel>
#include <QTimer>
#include <QVBoxLayout>

namespace qm::ui {

frmSplash::frmSplash(QWidget* parent) : QWidget(parent, Qt::SplashScreen | Qt::FramelessWindowHint)
{
    setObjectName("frmSplash");
    setAttribute(Qt::WA_DeleteOnClose);
    auto* title = new QLabel(applicationTitle(), this);
    QFont big = title->font();
    big.setPointSize(big.pointSize() * 3);
    big.setBold(true);
    title->setFont(big);
    title->setAlignment(Qt::AlignCenter);
    auto* subtitle = new QLabel(tr("Counts and bills typed documents"), this);
    subtitle->setAlignment(Qt::AlignCenter);
    auto* version = new QLabel("Version " + versionText(), this);
    version->setAlignment(Qt::AlignCenter);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(40, 30, 40, 30);
    layout->addWidget(title);
    layout->addWidget(subtitle);
    layout->addSpacing(12);
    layout->addWidget(version);
    setStyleSheet("frmSplash { border: 2px solid palette(highlight); background: palette(base); }");
    setAttribute(Qt::WA_StyledBackground);
}

void showSplashThen(int milliseconds, std::function<void()> next)
{
    auto* splash = new frmSplash;
    splash->show();
    QTimer::singleShot(milliseconds, splash, [splash, next = std::move(next)] {
        // The next window shows first, so the program never has no window.
        next();
        splash->close();
    });
}

} // namespace qm::ui

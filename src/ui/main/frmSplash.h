// The splash screen shown for two seconds while the program starts.
#pragma once

#include <QWidget>

#include <functional>

namespace qm::ui {

/// A frameless window with the program's name and version.
class frmSplash : public QWidget {
    Q_OBJECT
public:
    explicit frmSplash(QWidget* parent = nullptr);
};

/// Shows the splash screen for `milliseconds`, then closes it and calls
/// `next`. The event loop runs meanwhile; nothing blocks.
void showSplashThen(int milliseconds, std::function<void()> next);

} // namespace qm::ui

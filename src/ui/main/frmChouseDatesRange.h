// The date-range chooser of "Add By Date": two month calendars saved to the options.
#pragma once

#include "settings/SettingsContext.h"

#include <QDialog>

class QCalendarWidget;
class QPushButton;

namespace qm::ui {

/// `MonthViewFrom` and `MonthViewTo` start at the stored `DateRangeFrom` and
/// `DateRangeTo` (today when absent or unreadable); Save (`CmdSave`) writes
/// both as "mm/dd/yyyy" and closes, Cancel (`cmdCancel`) closes without
/// writing. A reversed range is saved as it is and then matches no file.
class frmChouseDatesRange : public QDialog {
    Q_OBJECT
public:
    explicit frmChouseDatesRange(settings::SettingsContext settings, QWidget* parent = nullptr);

    void save();

private:
    settings::SettingsContext m_settings;
    QCalendarWidget* m_from;
    QCalendarWidget* m_to;
};

} // namespace qm::ui

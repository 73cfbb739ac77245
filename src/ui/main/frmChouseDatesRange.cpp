// The date-range chooser.
#include "ui/main/frmChouseDatesRange.h"

#include "browser/FileDates.h"
#include "settings/IniRW.h"
#include "settings/Options.h"
#include "ui/common/AppInfo.h"

#include <QCalendarWidget>
#include <QGridLayout>
#include <QLabel>
#include <QPushButton>

namespace qm::ui {

namespace {

QDate storedDate(const settings::SettingsContext& settings, std::string_view key)
{
    const std::string today = settings::formatOptionDate(settings.today ? settings.today() : settings::localToday());
    const std::string text =
        settings::ReadINI(settings, settings::kOptionsBaseName, settings::kOptionsSection, key, today);
    auto day = browser::parseDay(text);
    if (!day)
        day = browser::parseDay(today);
    return day ? QDate(day->year, day->month, day->day) : QDate::currentDate();
}

std::string dateText(const QDate& date)
{
    return browser::formatDay(browser::Day{date.year(), date.month(), date.day()});
}

} // namespace

frmChouseDatesRange::frmChouseDatesRange(settings::SettingsContext settings, QWidget* parent)
    : QDialog(parent), m_settings(std::move(settings)), m_from(new QCalendarWidget(this)), m_to(new QCalendarWidget(this))
{
    setObjectName("frmChouseDatesRange");
    setWindowTitle("Choose Date Range - " + applicationTitle());
    m_from->setObjectName("MonthViewFrom");
    m_to->setObjectName("MonthViewTo");
    m_from->setSelectedDate(storedDate(m_settings, "DateRangeFrom"));
    m_to->setSelectedDate(storedDate(m_settings, "DateRangeTo"));
    auto* save = new QPushButton(tr("&Save"), this);
    save->setObjectName("CmdSave");
    save->setDefault(true);
    auto* cancel = new QPushButton(tr("&Cancel"), this);
    cancel->setObjectName("cmdCancel");
    auto* explain = new QLabel(tr("\"Add By Date\" adds the files created from the first day to the last day, "
                                  "both included."),
                               this);
    explain->setWordWrap(true);

    auto* layout = new QGridLayout(this);
    layout->addWidget(new QLabel(tr("From:"), this), 0, 0);
    layout->addWidget(new QLabel(tr("To:"), this), 0, 1);
    layout->addWidget(m_from, 1, 0);
    layout->addWidget(m_to, 1, 1);
    layout->addWidget(explain, 2, 0, 1, 2);
    auto* buttons = new QHBoxLayout;
    buttons->addStretch();
    buttons->addWidget(save);
    buttons->addWidget(cancel);
    layout->addLayout(buttons, 3, 0, 1, 2);

    connect(save, &QPushButton::clicked, this, [this] {
        this->save();
        accept();
    });
    connect(cancel, &QPushButton::clicked, this, &QDialog::reject);
}

void frmChouseDatesRange::save()
{
    settings::WriteINI(m_settings, settings::kOptionsBaseName, settings::kOptionsSection, "DateRangeFrom",
                       dateText(m_from->selectedDate()));
    settings::WriteINI(m_settings, settings::kOptionsBaseName, settings::kOptionsSection, "DateRangeTo",
                       dateText(m_to->selectedDate()));
}

} // namespace qm::ui

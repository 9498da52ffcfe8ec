#include "HealthSheet.h"

#include "document/RecordModel.h"

#include <QDateTime>
#include <QDialogButtonBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLocale>
#include <QPushButton>
#include <QSpinBox>
#include <QTreeWidget>
#include <QVBoxLayout>
#include <QtConcurrent>

namespace qv::app {

namespace {
constexpr int kRecordRole = Qt::UserRole + 1;

QString starsText(int stars) {
    return QString(stars, QChar(0x2605)) + QString(10 - stars, QChar(0x2606)) + QStringLiteral(" %1/10").arg(stars);
}
}  // namespace

HealthSheet::HealthSheet(const Array& records, int olderThanDays, QWidget* parent)
    : QDialog(parent), entries_(PasswordHealth::entriesOf(records)) {
    setObjectName(QStringLiteral("passwordHealthSheet"));
    setWindowTitle(QStringLiteral("Password Health"));
    setWindowModality(Qt::WindowModal);
    resize(640, 480);
    names_.reserve(qsizetype(entries_.size()));
    for (const HealthEntry& e : entries_) names_ << e.name;

    auto* layout = new QVBoxLayout(this);
    auto* intro = new QLabel(QStringLiteral("Passwords to change first. Everything is examined on this computer; "
                                            "nothing is sent anywhere."),
                             this);
    intro->setWordWrap(true);
    layout->addWidget(intro);
    summary_ = new QLabel(this);
    summary_->setObjectName(QStringLiteral("healthSummary"));
    summary_->setWordWrap(true);
    layout->addWidget(summary_);

    list_ = new QTreeWidget(this);
    list_->setObjectName(QStringLiteral("healthList"));
    list_->setAccessibleName(QStringLiteral("Findings"));
    list_->setColumnCount(2);
    list_->setHeaderLabels({QStringLiteral("Record"), QStringLiteral("Why")});
    list_->header()->setSectionResizeMode(0, QHeaderView::Interactive);
    list_->header()->resizeSection(0, 240);
    list_->setRootIsDecorated(true);
    layout->addWidget(list_, 1);
    connect(list_, &QTreeWidget::itemDoubleClicked, this, [this](QTreeWidgetItem* item) {
        const QVariant index = item->data(0, kRecordRole);
        if (!index.isValid()) return;
        chosen_ = index.value<qsizetype>();
        accept();
    });

    auto* row = new QHBoxLayout;
    auto* daysLabel = new QLabel(QStringLiteral("Old means not changed for"), this);
    days_ = new QSpinBox(this);
    days_->setObjectName(QStringLiteral("olderThanDays"));
    days_->setRange(1, 36500);
    days_->setValue(olderThanDays);
    days_->setSuffix(QStringLiteral(" days"));
    days_->setAccessibleName(QStringLiteral("Old means not changed for this many days"));
    daysLabel->setBuddy(days_);
    row->addWidget(daysLabel);
    row->addWidget(days_);
    row->addStretch(1);
    auto* done = new QPushButton(QStringLiteral("Done"), this);
    done->setDefault(true);
    connect(done, &QPushButton::clicked, this, &QDialog::reject);
    row->addWidget(done);
    layout->addLayout(row);
    connect(days_, &QSpinBox::editingFinished, this, [this] {
        Q_EMIT olderThanDaysChanged(days_->value());
        examine();
    });

    connect(&watcher_, &QFutureWatcher<HealthReport>::finished, this, [this] {
        if (!watcher_.isCanceled()) show(watcher_.result());
    });
    examine();
}

HealthSheet::~HealthSheet() {
    // The workers read this sheet's copy of the passwords: they stop before it goes.
    if (cancelled_) *cancelled_ = true;
    watcher_.waitForFinished();
}

int HealthSheet::olderThanDays() const { return days_->value(); }

void HealthSheet::examine() {
    if (cancelled_) *cancelled_ = true;
    watcher_.waitForFinished();
    cancelled_ = std::make_shared<std::atomic<bool>>(false);
    list_->clear();
    summary_->setText(QStringLiteral("Examining %1 passwords\u2026").arg(QLocale().toString(qsizetype(entries_.size()))));
    const auto cancelled = cancelled_;
    const int days = days_->value();
    const double now = nowSince2001();
    const std::vector<HealthEntry>* entries = &entries_;
    watcher_.setFuture(QtConcurrent::run([entries, cancelled, days, now] {
        return PasswordHealth::examine(*entries, now, days, [cancelled] { return cancelled->load(); });
    }));
}

QTreeWidgetItem* HealthSheet::recordItem(QTreeWidgetItem* parent, qsizetype index, const QString& detail) {
    auto* item = new QTreeWidgetItem(parent, {names_.value(index), detail});
    item->setData(0, kRecordRole, QVariant::fromValue(index));
    item->setToolTip(0, QStringLiteral("Double-click to show this record"));
    return item;
}

void HealthSheet::show(const HealthReport& report) {
    list_->clear();
    qsizetype reusedRecords = 0;
    for (const auto& group : report.reused) reusedRecords += qsizetype(group.size());
    summary_->setText(report.isClean() ? QStringLiteral("Nothing to change: no weak, reused or old passwords.")
                                       : QStringLiteral("%1 weak, %2 reused, %3 old, %4 without a password.")
                                             .arg(report.weak.size())
                                             .arg(reusedRecords)
                                             .arg(report.old.size())
                                             .arg(report.empty.size()));
    auto* weak = new QTreeWidgetItem(list_, {QStringLiteral("Weak (%1)").arg(report.weak.size())});
    for (const WeakPassword& w : report.weak)
        recordItem(weak, w.index, QStringLiteral("%1, about %2 bits \u2014 %3").arg(starsText(w.stars)).arg(int(w.bits)).arg(w.reason));
    auto* reused = new QTreeWidgetItem(list_, {QStringLiteral("Reused (%1 in %2 %3)")
                                                   .arg(reusedRecords)
                                                   .arg(report.reused.size())
                                                   .arg(report.reused.size() == 1 ? QStringLiteral("group") : QStringLiteral("groups"))});
    for (const auto& group : report.reused) {
        auto* g = new QTreeWidgetItem(reused, {QStringLiteral("%1 records share one password").arg(group.size())});
        for (qsizetype index : group) recordItem(g, index, QString());
        g->setExpanded(true);
    }
    auto* old = new QTreeWidgetItem(list_, {QStringLiteral("Not changed for %1 days (%2)").arg(report.olderThanDays).arg(report.old.size())});
    for (qsizetype index : report.old) {
        // Entries stand in the order of the records they were taken from.
        const double modified = entries_[size_t(index)].modified;
        const QDate when = dateTimeFromSeconds2001(modified).date();
        recordItem(old, index, QStringLiteral("last changed %1").arg(QLocale().toString(when, QLocale::ShortFormat)));
    }
    auto* empty = new QTreeWidgetItem(list_, {QStringLiteral("Login without a password (%1)").arg(report.empty.size())});
    for (qsizetype index : report.empty) recordItem(empty, index, QStringLiteral("has a user ID or URL"));
    for (QTreeWidgetItem* top : {weak, reused, old, empty}) {
        QFont bold = top->font(0);
        bold.setBold(true);
        top->setFont(0, bold);
        top->setExpanded(top->childCount() > 0 && top->childCount() <= 500);
    }
}

}  // namespace qv::app

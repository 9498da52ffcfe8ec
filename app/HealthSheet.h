#pragma once

// View ▸ Password Health: the document's weak, reused and old passwords and its logins without a
// password, in one list with a count for each. The examination runs on worker threads; the sheet
// shows that it is working and stays responsive. Double-clicking a record shows it in the table.

#include "passwordtools/PasswordHealth.h"

#include <QDialog>
#include <QFutureWatcher>

#include <atomic>
#include <memory>

class QLabel;
class QSpinBox;
class QTreeWidget;
class QTreeWidgetItem;

namespace qv::app {

class HealthSheet : public QDialog {
    Q_OBJECT
public:
    // `records` are read here, on the interface thread; `olderThanDays` is the starting threshold.
    HealthSheet(const Array& records, int olderThanDays, QWidget* parent);
    ~HealthSheet() override;

    QTreeWidget* list() const { return list_; }
    QLabel* summary() const { return summary_; }
    int olderThanDays() const;
    bool isExamining() const { return watcher_.isRunning(); }
    // The record the user double-clicked, or -1.
    qsizetype chosenRecord() const { return chosen_; }

Q_SIGNALS:
    void olderThanDaysChanged(int days);

private:
    void examine();
    void show(const HealthReport& report);
    QTreeWidgetItem* recordItem(QTreeWidgetItem* parent, qsizetype index, const QString& detail);

    std::vector<HealthEntry> entries_;
    QStringList names_;
    QTreeWidget* list_ = nullptr;
    QLabel* summary_ = nullptr;
    QSpinBox* days_ = nullptr;
    QFutureWatcher<HealthReport> watcher_;
    std::shared_ptr<std::atomic<bool>> cancelled_;
    qsizetype chosen_ = -1;
};

}  // namespace qv::app

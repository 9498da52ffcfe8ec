#include "PreferencesWindow.h"

#include "PreferenceIcons.h"

#include "shell/ZKValueTransformers.h"
#include "shell/ZKPhoneHome.h"

#include <QActionGroup>
#include <QApplication>
#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QEvent>
#include <QFormLayout>
#include <QGridLayout>
#include <QGroupBox>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPropertyAnimation>
#include <QPushButton>
#include <QRadioButton>
#include <QScreen>
#include <QSpinBox>
#include <QTabBar>
#include <QTabWidget>
#include <QToolBar>
#include <QVBoxLayout>
#include <QWindow>

#include <cmath>

namespace qv::app {

// ---- The pane mechanism ----

QList<QAction*> ZKPrefToolbarDelegate::toolbarItems() const {
    return toolbar ? toolbar->actions() : QList<QAction*>();
}

void ZKPrefToolbarDelegate::awakeFromNib() {
    items.clear();
    toolbar = new QToolBar(myWindow);
    toolbar->setObjectName(QStringLiteral("prefToolBar"));
    toolbar->setMovable(false);
    toolbar->setFloatable(false);
    toolbar->setToolButtonStyle(Qt::ToolButtonTextUnderIcon);
    toolbar->setIconSize(QSize(32, 32));
    group_ = new QActionGroup(toolbar);
    group_->setExclusive(true);
    for (const QString& identifier : toolbarDefaultItemIdentifiers()) {
        QAction* item = toolbarItemForItemIdentifier(identifier, true);
        if (!item) continue;
        item->setParent(toolbar);
        item->setCheckable(true);
        group_->addAction(item);
        toolbar->addAction(item);
        // The chosen pane is the one highlighted button; a focus frame on another one would look
        // like a second choice. The panes are chosen by mouse, the pane's controls by keyboard.
        if (QWidget* button = toolbar->widgetForAction(item)) button->setFocusPolicy(Qt::NoFocus);
        connect(item, &QAction::triggered, this, [this, item] { PanelAction(item); });
    }
    myHeightArray = heightArray();
    // Nobody watches an offscreen window, and whoever drives one reads its size at once.
    animatesResize = QGuiApplication::platformName() != QLatin1String("offscreen");
    AttachToWindow();
    PanelAction(nullptr);
}

void ZKPrefToolbarDelegate::AttachToWindow() {
    myWindow->addToolBar(Qt::TopToolBarArea, toolbar);
    // No way for the user to hide the panes' toolbar.
    toolbar->toggleViewAction()->setVisible(false);
    myWindow->setContextMenuPolicy(Qt::NoContextMenu);
}

void ZKPrefToolbarDelegate::PanelAction(QAction* sender) {
    int index = 0;
    if (sender) {
        index = sender->data().toInt();
        myWindow->setWindowTitle(sender->text());
    } else {
        const QList<QAction*> list = toolbarItems();
        if (!list.isEmpty()) {
            list.first()->setChecked(true);
            myWindow->setWindowTitle(list.first()->text());
        }
    }
    myTabView->setCurrentIndex(index);
    resizeToPane(index);
}

void ZKPrefToolbarDelegate::SetPanelTab(int index) {
    const QList<QAction*> list = toolbarItems();
    // Taken as unsigned: a negative index falls out here too.
    if (unsigned(index) >= unsigned(list.size()) || !list.at(index)) return;
    QAction* item = list.at(index);
    item->setChecked(true);
    myWindow->setWindowTitle(item->text());
    myTabView->setCurrentIndex(index);
    resizeToPane(index);
}

void ZKPrefToolbarDelegate::resizeToPane(int index) {
    if (index < 0 || index >= myHeightArray.size()) return;
    // A pane chosen while the window is still sliding starts from wherever the window is now.
    if (resizeAnimation_) resizeAnimation_->stop();
    const int wanted = int(myHeightArray.at(index)) + kFrameAllowance;
    const QRect frame = myWindow->frameGeometry();
    const QRect inner = myWindow->geometry();
    // The frame takes the pane's height; its top edge stays where it is.
    const int d = int(wanted - frame.height());
    QRect target = inner;
    target.setHeight(inner.height() + d);
    if (!animatesResize || d == 0 || !myWindow->isVisible()) {
        myWindow->setFixedSize(target.size());
        return;
    }
    if (!resizeAnimation_) {
        resizeAnimation_ = new QPropertyAnimation(myWindow, "geometry", this);
        resizeAnimation_->setDuration(150);
        resizeAnimation_->setEasingCurve(QEasingCurve::OutCubic);
        connect(resizeAnimation_, &QPropertyAnimation::finished, this,
                [this] { myWindow->setFixedSize(resizeAnimation_->endValue().toRect().size()); });
    }
    // The size is fixed at either end; on the way the window must be free to pass between them.
    myWindow->setMinimumSize(inner.width(), std::min(inner.height(), target.height()));
    myWindow->setMaximumSize(inner.width(), std::max(inner.height(), target.height()));
    resizeAnimation_->setStartValue(inner);
    resizeAnimation_->setEndValue(target);
    resizeAnimation_->start();
}

QStringList MyPrefToolbarDelegate::returnAllkeys() const {
    return {QStringLiteral("0"), QStringLiteral("1"), QStringLiteral("2"),
            QStringLiteral("3"), QStringLiteral("4"), QStringLiteral("5")};
}

QAction* MyPrefToolbarDelegate::toolbarItemForItemIdentifier(const QString& identifier, bool) {
    static const std::pair<const char*, const char*> panes[] = {{"General", "prefGeneral"},     {"Font", "t"},
                                                                {"Password Create", "keys"}, {"Timing", "alarm_clock"},
                                                                {"Advanced", "advanced"},     {"Software Update", "swUpdate"}};
    bool ok = false;
    const int tag = identifier.toInt(&ok);
    if (!ok || tag < 0 || tag > 5 || identifier != QString::number(tag)) return nullptr;
    const QString title = QLatin1String(panes[tag].first);
    auto* item = new QAction(preferenceIcon(QLatin1String(panes[tag].second)), title, this);
    item->setObjectName(QStringLiteral("prefPane") + identifier);
    item->setToolTip(title);
    item->setIconText(title);
    item->setData(tag);
    return item;
}

// ---- The window ----

namespace {

constexpr int kWindowWidth = 600;

QLabel* note(const QString& text, QWidget* parent) {
    auto* l = new QLabel(text, parent);
    l->setWordWrap(true);
    QFont f = l->font();
    f.setPointSizeF(f.pointSizeF() * 0.9);
    l->setFont(f);
    QPalette p = l->palette();
    p.setColor(QPalette::WindowText, p.color(QPalette::Disabled, QPalette::WindowText));
    l->setPalette(p);
    return l;
}

QWidget* page(QWidget* parent) {
    auto* w = new QWidget(parent);
    w->setObjectName(QStringLiteral("prefPage"));
    return w;
}

}  // namespace

PreferencesWindow::PreferencesWindow(UserDefaults& defaults, MyAppDelegate& delegate, QWidget* parent)
    // A utility window: it belongs to the document window in use (keepAbove), and window managers
    // keep it in front of that window, but not in front of other programs.
    : QMainWindow(parent, Qt::Tool | Qt::WindowTitleHint | Qt::WindowCloseButtonHint),
      defaults_(defaults),
      delegate_(delegate) {
    setObjectName(QStringLiteral("prefWindow"));
    tabs_ = new QTabWidget(this);
    tabs_->setObjectName(QStringLiteral("prefTabView"));
    tabs_->tabBar()->hide();
    tabs_->setDocumentMode(true);
    tabs_->addTab(buildGeneral(), QStringLiteral("General"));
    tabs_->addTab(buildFont(), QStringLiteral("Font"));
    tabs_->addTab(buildPasswordCreate(), QStringLiteral("Password Create"));
    tabs_->addTab(buildTiming(), QStringLiteral("Timing"));
    tabs_->addTab(buildAdvanced(), QStringLiteral("Advanced"));
    tabs_->addTab(buildSoftwareUpdate(), QStringLiteral("Software Update"));
    setCentralWidget(tabs_);
    resize(kWindowWidth, 300);

    toolbarDelegate_ = new MyPrefToolbarDelegate(this);
    toolbarDelegate_->myWindow = this;
    toolbarDelegate_->myTabView = tabs_;
    toolbarDelegate_->awakeFromNib();

    delegate_.startupDocStateChanged = [this] { showStartupDocState(); };
    reloadFromDefaults();
}

void PreferencesWindow::set(const QString& key, const Value& value) {
    if (loading_) return;
    defaults_.setObject(key, value);
    Q_EMIT preferenceChanged(key);
}

void PreferencesWindow::reloadFromDefaults() {
    loading_ = true;
    for (const auto& reload : reloaders_) reload();
    loading_ = false;
    showStartupDocState();
}

void PreferencesWindow::restoreDefaults() {
    // This program's opt-in settings go back to off with the rest.
    QStringList keys = MyAppDelegate::registeredDefaults().keys();
    keys += prefs::optInDefaults().keys();
    for (const QString& key : keys) defaults_.removeObject(key);
    reloadFromDefaults();
    for (const QString& key : keys) Q_EMIT preferenceChanged(key);
}

void PreferencesWindow::openPreferences() {
    keepAbove(QApplication::activeWindow());
    if (!isVisible()) {
        reloadFromDefaults();
        if (const QScreen* s = screen() ? screen() : QGuiApplication::primaryScreen()) {
            QRect g = frameGeometry();
            g.moveCenter(s->availableGeometry().center());
            move(g.topLeft());
        }
    }
    show();
    raise();
    activateWindow();
}

void PreferencesWindow::keepAbove(QWidget* window) {
    if (!window) return;
    window = window->window();
    if (window == this || !window->windowHandle()) return;
    if (!windowHandle()) create();
    windowHandle()->setTransientParent(window->windowHandle());
    // Some window managers read a changed owner only when the window is stacked again.
    if (isVisible()) raise();
}

void PreferencesWindow::changeEvent(QEvent* event) {
    QMainWindow::changeEvent(event);
    if (event->type() == QEvent::ActivationChange && isActiveWindow()) reloadFromDefaults();
}

void PreferencesWindow::openPreferencesAtTab(int index) {
    openPreferences();
    toolbarDelegate_->SetPanelTab(index);
}

void PreferencesWindow::showStartupDocState() {
    if (!startupDocLabel_) return;
    const QString path = defaults_.stringForKey(prefs::StartupSelectedDocPath);
    startupDocLabel_->setText(path.isEmpty() ? QStringLiteral("No document chosen") : path);
    startupDocLabel_->setToolTip(path);
    startupDocLabel_->setEnabled(delegate_.StartupDocSpecified);
    auto* message = findChild<QLabel*>(QStringLiteral("StartupDocPathMessageString"));
    if (message) {
        message->setText(delegate_.StartupDocPathMessageString);
        message->setVisible(!delegate_.StartupDocPathMessageString.isEmpty());
    }
}

QWidget* PreferencesWindow::buildGeneral() {
    QWidget* w = page(this);
    auto* layout = new QVBoxLayout(w);
    layout->setContentsMargins(24, 14, 24, 10);
    layout->setSpacing(4);
    layout->addWidget(new QLabel(QStringLiteral("When Quorvane starts:"), w));
    auto* group = new QButtonGroup(w);
    const char* choices[] = {"Create a new document", "Show the Open dialog, unless a document is already open",
                             "Always show the Open dialog", "Open this document:"};
    for (int i = 0; i < 4; ++i) {
        auto* radio = new QRadioButton(QLatin1String(choices[i]), w);
        radio->setObjectName(QStringLiteral("startupAction%1").arg(i));
        group->addButton(radio, i);
        auto* row = new QHBoxLayout;
        row->setContentsMargins(16, 0, 0, 0);
        row->addWidget(radio);
        layout->addLayout(row);
    }

    auto* docBox = new QWidget(w);
    auto* docLayout = new QVBoxLayout(docBox);
    docLayout->setContentsMargins(42, 0, 0, 0);
    docLayout->setSpacing(2);
    startupDocLabel_ = new QLabel(docBox);
    startupDocLabel_->setObjectName(QStringLiteral("StartupSelectedDocPath"));
    startupDocLabel_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    startupDocLabel_->setMinimumWidth(300);
    docLayout->addWidget(startupDocLabel_);
    auto* message = new QLabel(docBox);
    message->setObjectName(QStringLiteral("StartupDocPathMessageString"));
    QPalette red = message->palette();
    red.setColor(QPalette::WindowText, QColor(180, 30, 30));
    message->setPalette(red);
    docLayout->addWidget(message);
    auto* buttons = new QHBoxLayout;
    buttons->setSpacing(6);
    const std::pair<const char*, void (ZKAppDelegateBase::*)(const Sender&)> actions[] = {
        {"Choose\u2026", &ZKAppDelegateBase::selectStartupDoc},
        {"Clear", &ZKAppDelegateBase::clearStartupSelectedDoc},
        {"Test Open", &ZKAppDelegateBase::testOpenStartupDoc},
        {"Show in Folder", &ZKAppDelegateBase::showInFinderStartupDoc}};
    const char* names[] = {"selectStartupDoc", "clearStartupSelectedDoc", "testOpenStartupDoc", "showInFinderStartupDoc"};
    int n = 0;
    for (const auto& [title, action] : actions) {
        auto* b = new QPushButton(QString::fromUtf8(title), docBox);
        b->setObjectName(QLatin1String(names[n++]));
        auto member = action;
        connect(b, &QPushButton::clicked, this, [this, member] {
            (delegate_.*member)(Sender{});
            showStartupDocState();
        });
        buttons->addWidget(b);
    }
    buttons->addStretch();
    docLayout->addLayout(buttons);
    layout->addWidget(docBox);
    layout->addStretch();

    connect(group, &QButtonGroup::idToggled, this, [this, docBox](int id, bool on) {
        if (!on) return;
        set(prefs::StartupActionTag, Value::integer(id));
        docBox->setEnabled(ValueTransformers::transform(QStringLiteral("valueIs3"), id).toBool());
    });
    reloaders_.push_back([this, group, docBox] {
        const auto tag = defaults_.integerForKey(prefs::StartupActionTag);
        if (QAbstractButton* b = group->button(int(tag))) b->setChecked(true);
        else if (QAbstractButton* checked = group->checkedButton()) {
            group->setExclusive(false);
            checked->setChecked(false);
            group->setExclusive(true);
        }
        docBox->setEnabled(ValueTransformers::transform(QStringLiteral("valueIs3"), qlonglong(tag)).toBool());
    });
    return w;
}

QWidget* PreferencesWindow::buildFont() {
    QWidget* w = page(this);
    auto* form = new QFormLayout(w);
    form->setContentsMargins(40, 16, 40, 10);
    form->setLabelAlignment(Qt::AlignRight);
    auto* family = new QComboBox(w);
    family->setObjectName(prefs::tableFontFamily);
    family->setMinimumWidth(260);
    for (const Value& entry : delegate_.fontFamilyArray)
        family->addItem(entry.toDictionary().value(QStringLiteral("font")).toString());
    auto* size = new QDoubleSpinBox(w);
    size->setObjectName(prefs::tableFontSize);
    size->setRange(7, 48);
    size->setDecimals(1);
    size->setSingleStep(1);
    size->setSuffix(QStringLiteral(" pt"));
    auto* bold = new QCheckBox(QStringLiteral("Bold"), w);
    bold->setObjectName(prefs::tableFontBold);
    auto* italic = new QCheckBox(QStringLiteral("Italic"), w);
    italic->setObjectName(prefs::tableFontItalic);
    auto* sizeRow = new QHBoxLayout;
    sizeRow->addWidget(size);
    sizeRow->addSpacing(12);
    sizeRow->addWidget(bold);
    sizeRow->addWidget(italic);
    sizeRow->addStretch();
    form->addRow(QStringLiteral("Table font:"), family);
    form->addRow(QStringLiteral("Size:"), sizeRow);
    auto* sample = new QLabel(QStringLiteral("Bank \u2014 ann@example.org \u2014 0123456789"), w);
    sample->setObjectName(QStringLiteral("fontSample"));
    sample->setFrameShape(QFrame::StyledPanel);
    sample->setAutoFillBackground(true);
    sample->setBackgroundRole(QPalette::Base);
    sample->setContentsMargins(6, 0, 6, 0);
    form->addRow(QStringLiteral("Sample:"), sample);

    auto showSample = [this, sample] {
        QFont f(defaults_.stringForKey(prefs::tableFontFamily));
        f.setPointSizeF(std::max(1.0, defaults_.doubleForKey(prefs::tableFontSize)));
        f.setBold(defaults_.boolForKey(prefs::tableFontBold));
        f.setItalic(defaults_.boolForKey(prefs::tableFontItalic));
        sample->setFont(f);
        // The height a table row gets for this size.
        sample->setFixedHeight(ValueTransformers::transform(QStringLiteral("heightAmplifier"), f.pointSizeF()).toInt());
    };
    connect(family, &QComboBox::currentTextChanged, this, [this, showSample](const QString& t) {
        set(prefs::tableFontFamily, Value(t));
        showSample();
    });
    connect(size, &QDoubleSpinBox::valueChanged, this, [this, showSample](double v) {
        set(prefs::tableFontSize, Value::real32(float(v)));
        showSample();
    });
    connect(bold, &QCheckBox::toggled, this, [this, showSample](bool b) {
        set(prefs::tableFontBold, Value::boolean(b));
        showSample();
    });
    connect(italic, &QCheckBox::toggled, this, [this, showSample](bool b) {
        set(prefs::tableFontItalic, Value::boolean(b));
        showSample();
    });
    reloaders_.push_back([this, family, size, bold, italic, showSample] {
        const QString current = defaults_.stringForKey(prefs::tableFontFamily);
        // A family this system lacks stays on view; the tables fall back to a near one.
        if (family->findText(current) < 0) family->insertItem(0, current);
        family->setCurrentText(current);
        size->setValue(defaults_.doubleForKey(prefs::tableFontSize));
        bold->setChecked(defaults_.boolForKey(prefs::tableFontBold));
        italic->setChecked(defaults_.boolForKey(prefs::tableFontItalic));
        showSample();
    });
    return w;
}

QWidget* PreferencesWindow::buildPasswordCreate() {
    QWidget* w = page(this);
    auto* layout = new QVBoxLayout(w);
    layout->setContentsMargins(40, 16, 40, 10);
    auto* enable = new QCheckBox(QStringLiteral("Leave out characters that are easy to confuse:"), w);
    enable->setObjectName(prefs::enableDisambiguator);
    layout->addWidget(enable);
    auto* row = new QHBoxLayout;
    row->setContentsMargins(24, 0, 0, 0);
    auto* chars = new QLineEdit(w);
    chars->setObjectName(prefs::noCharStringDisambiguator);
    chars->setMaximumWidth(220);
    QFont mono(QStringLiteral("DejaVu Sans Mono"));
    mono.setStyleHint(QFont::Monospace);
    chars->setFont(mono);
    auto* reset = new QPushButton(QStringLiteral("Reset"), w);
    reset->setObjectName(QStringLiteral("resetDisambiguator"));
    row->addWidget(chars);
    row->addWidget(reset);
    row->addStretch();
    layout->addLayout(row);
    auto* hint = note(QStringLiteral("The password generator never uses these characters while the box is ticked."), w);
    hint->setContentsMargins(24, 0, 0, 0);
    layout->addWidget(hint);
    layout->addStretch();

    connect(enable, &QCheckBox::toggled, this, [this, chars](bool b) {
        chars->setEnabled(b);
        set(prefs::enableDisambiguator, Value::boolean(b));
    });
    connect(chars, &QLineEdit::textEdited, this, [this](const QString& t) { set(prefs::noCharStringDisambiguator, Value(t)); });
    connect(reset, &QPushButton::clicked, this, [this, chars] {
        defaults_.removeObject(prefs::noCharStringDisambiguator);
        chars->setText(defaults_.stringForKey(prefs::noCharStringDisambiguator));
        Q_EMIT preferenceChanged(prefs::noCharStringDisambiguator);
    });
    reloaders_.push_back([this, enable, chars] {
        enable->setChecked(defaults_.boolForKey(prefs::enableDisambiguator));
        chars->setEnabled(enable->isChecked());
        chars->setText(defaults_.stringForKey(prefs::noCharStringDisambiguator));
    });
    return w;
}

QWidget* PreferencesWindow::buildTiming() {
    QWidget* w = page(this);
    // One grid for the whole pane, so that every labelled field lines up, with plain headings
    // instead of group boxes: the pane has to hold eight settings in its fixed height.
    auto* grid = new QGridLayout(w);
    grid->setContentsMargins(24, 10, 24, 10);
    grid->setHorizontalSpacing(8);
    grid->setVerticalSpacing(5);
    grid->setColumnMinimumWidth(0, 12);
    grid->setColumnStretch(3, 1);
    int row = 0;
    auto heading = [&](const QString& text) {
        auto* l = new QLabel(text, w);
        QFont f = l->font();
        f.setBold(true);
        l->setFont(f);
        if (row > 0) l->setContentsMargins(0, 8, 0, 0);
        grid->addWidget(l, row++, 0, 1, 4);
    };
    auto labelled = [&](const QString& text, QWidget* field) {
        grid->addWidget(new QLabel(text, w), row, 1);
        grid->addWidget(field, row++, 2, Qt::AlignLeft);
    };
    auto spanning = [&](QWidget* item) { grid->addWidget(item, row++, 1, 1, 3); };
    // A check box in the place of the label, and the field it turns on or off.
    auto checkedField = [&](QCheckBox* box, QWidget* field, const QString& after = {}) {
        grid->addWidget(box, row, 1);
        grid->addWidget(field, row, 2, Qt::AlignLeft);
        if (!after.isEmpty()) grid->addWidget(new QLabel(after, w), row, 3);
        ++row;
    };
    auto seconds = [this, w](const QString& key, int min, int max) {
        auto* spin = new QSpinBox(w);
        spin->setObjectName(key);
        spin->setRange(min, max);
        spin->setSuffix(QStringLiteral(" s"));
        spin->setMinimumWidth(90);
        connect(spin, &QSpinBox::valueChanged, this, [this, key](int v) { set(key, Value::integer(v)); });
        reloaders_.push_back([this, spin, key] { spin->setValue(int(defaults_.integerForKey(key))); });
        return spin;
    };
    auto check = [this, w](const QString& key, const QString& text) {
        auto* box = new QCheckBox(text, w);
        box->setObjectName(key);
        connect(box, &QCheckBox::toggled, this, [this, key](bool b) { set(key, Value::boolean(b)); });
        reloaders_.push_back([this, box, key] { box->setChecked(defaults_.boolForKey(key)); });
        return box;
    };

    heading(QStringLiteral("Saving"));
    labelled(QStringLiteral("Save edited documents after:"), seconds(prefs::autosavingDelay, 0, 3600));
    labelled(QStringLiteral("Automatic saving interval:"), seconds(prefs::automaticSavingInterval, 0, 3600));
    spanning(note(QStringLiteral("0 turns saving by itself off. A change takes effect when Quorvane starts again."), w));

    heading(QStringLiteral("Locking"));
    QCheckBox* lockEnabled =
        check(prefs::autolocBackgroundEnabled, QStringLiteral("Lock documents in the background after"));
    QSpinBox* lockAfter = seconds(prefs::autolocBackgroundInterval, 30, 86400);
    checkedField(lockEnabled, lockAfter);
    connect(lockEnabled, &QCheckBox::toggled, lockAfter, &QWidget::setEnabled);
    spanning(check(prefs::lockDocumentsWhenSessionLocks,
                   QStringLiteral("Lock all documents when the screen locks or the computer sleeps")));
    spanning(note(QStringLiteral("Only saved documents lock; one with unsaved changes stays open."), w));

    heading(QStringLiteral("Copying"));
    labelled(QStringLiteral("Remove the password icon after:"), seconds(prefs::disposePasswordIconAfter, 1, 3600));
    auto* useNotice = new QCheckBox(QStringLiteral("Show the copy notice for"), w);
    useNotice->setObjectName(prefs::useHudNotifyForCopy);
    auto* noticeTime = new QDoubleSpinBox(w);
    noticeTime->setObjectName(prefs::notifyHudTimer);
    noticeTime->setRange(0.3, 3.0);
    noticeTime->setDecimals(1);
    noticeTime->setSingleStep(0.1);
    noticeTime->setSuffix(QStringLiteral(" s"));
    noticeTime->setMinimumWidth(90);
    checkedField(useNotice, noticeTime);
    // Kept in tenths of a second.
    connect(noticeTime, &QDoubleSpinBox::valueChanged, this,
            [this](double v) { set(prefs::notifyHudTimer, Value::integer(std::lround(v * 10))); });
    connect(useNotice, &QCheckBox::toggled, this, [this, noticeTime](bool b) {
        noticeTime->setEnabled(b);
        set(prefs::useHudNotifyForCopy, Value::boolean(b));
    });

    // 0 seconds means never: the box says whether, the field how long. Unticking keeps the
    // number on view for the next time.
    auto* clearClipboard = new QCheckBox(QStringLiteral("Clear the clipboard after"), w);
    clearClipboard->setObjectName(QStringLiteral("clearClipboardEnabled"));
    auto* clearAfter = new QSpinBox(w);
    clearAfter->setObjectName(prefs::clearClipboardAfter);
    clearAfter->setRange(1, 3600);
    clearAfter->setValue(30);
    clearAfter->setMinimumWidth(90);
    checkedField(clearClipboard, clearAfter, QStringLiteral("seconds"));
    connect(clearClipboard, &QCheckBox::toggled, this, [this, clearAfter](bool b) {
        clearAfter->setEnabled(b);
        set(prefs::clearClipboardAfter, Value::integer(b ? clearAfter->value() : 0));
    });
    connect(clearAfter, &QSpinBox::valueChanged, this, [this, clearClipboard](int v) {
        if (clearClipboard->isChecked()) set(prefs::clearClipboardAfter, Value::integer(v));
    });

    reloaders_.push_back([this, useNotice, noticeTime, lockAfter, lockEnabled, clearClipboard, clearAfter] {
        useNotice->setChecked(defaults_.boolForKey(prefs::useHudNotifyForCopy));
        noticeTime->setEnabled(useNotice->isChecked());
        noticeTime->setValue(double(defaults_.integerForKey(prefs::notifyHudTimer)) / 10.0);
        lockAfter->setEnabled(lockEnabled->isChecked());
        const auto after = defaults_.integerForKey(prefs::clearClipboardAfter);
        if (after > 0) clearAfter->setValue(int(std::min<qint64>(after, clearAfter->maximum())));
        clearClipboard->setChecked(after > 0);
        clearAfter->setEnabled(after > 0);
    });
    grid->setRowStretch(row, 1);
    return w;
}

QWidget* PreferencesWindow::buildAdvanced() {
    QWidget* w = page(this);
    auto* layout = new QVBoxLayout(w);
    layout->setContentsMargins(40, 16, 40, 10);
    auto* form = new QFormLayout;
    auto* compare = new QComboBox(w);
    compare->setObjectName(prefs::tableSortCompare);
    compare->addItem(QStringLiteral("Character codes (capitals first)"), 0);
    compare->addItem(QStringLiteral("Language order"), 1);
    compare->addItem(QStringLiteral("Language order, ignoring case"), 2);
    form->addRow(QStringLiteral("Sort text columns by:"), compare);
    auto* opening = new QComboBox(w);
    opening->setObjectName(prefs::openingSortBy);
    opening->addItem(QStringLiteral("The column last sorted"), 0);
    opening->addItem(QStringLiteral("Name"), 1);
    opening->addItem(QStringLiteral("Category"), 2);
    form->addRow(QStringLiteral("Order opened documents by:"), opening);
    layout->addLayout(form);
    connect(compare, &QComboBox::activated, this,
            [this, compare](int i) { set(prefs::tableSortCompare, Value::integer(compare->itemData(i).toInt())); });
    connect(opening, &QComboBox::activated, this,
            [this, opening](int i) { set(prefs::openingSortBy, Value::integer(opening->itemData(i).toInt())); });
    reloaders_.push_back([this, compare, opening] {
        const auto v = defaults_.integerForKey(prefs::tableSortCompare);
        compare->setCurrentIndex(v == 0 ? 0 : v == 1 ? 1 : 2);  // any other value sorts as the last
        // A value this window does not offer shows as the first choice, and is kept until one is picked.
        opening->setCurrentIndex(std::max(0, opening->findData(int(defaults_.integerForKey(prefs::openingSortBy)))));
    });
    layout->addStretch();
    auto* row = new QHBoxLayout;
    auto* restore = new QPushButton(QStringLiteral("Restore Defaults"), w);
    restore->setObjectName(QStringLiteral("restoreDefaults"));
    connect(restore, &QPushButton::clicked, this, &PreferencesWindow::restoreDefaults);
    row->addWidget(note(QStringLiteral("Every preference back to how Quorvane came; the start-up document stays chosen."), w), 1);
    row->addWidget(restore);
    layout->addLayout(row);
    return w;
}

QWidget* PreferencesWindow::buildSoftwareUpdate() {
    QWidget* w = page(this);
    auto* layout = new QVBoxLayout(w);
    layout->setContentsMargins(40, 16, 40, 10);
    // Off, nothing goes to the network at all; a package built without the check shows it off.
    auto* enabled = new QCheckBox(QStringLiteral("Check for new releases"), w);
    enabled->setObjectName(prefs::updateCheckEnabled);
    layout->addWidget(enabled);
    auto* notify = new QCheckBox(QStringLiteral("Tell me at start-up when a new release is available"), w);
    notify->setObjectName(prefs::notifyUpdate);
    layout->addWidget(notify);
    layout->addWidget(note(QStringLiteral("Quorvane asks the update server once a day when it starts. Nothing is "
                                          "downloaded or installed."),
                           w));
    layout->addStretch();
    auto* row = new QHBoxLayout;
    lastCheckLabel_ = new QLabel(w);
    lastCheckLabel_->setObjectName(QStringLiteral("lastCheckDateForUpdate"));
    auto* now = new QPushButton(QStringLiteral("Check Now"), w);
    now->setObjectName(QStringLiteral("checkForLastReleaseAvailable"));
    row->addWidget(lastCheckLabel_, 1);
    row->addWidget(now);
    layout->addLayout(row);
    const bool built = ZKPhoneHome::sharedPhoneHome().builtWithUpdateCheck;
    connect(enabled, &QCheckBox::toggled, this, [this, built, notify, now](bool b) {
        notify->setEnabled(b && built);
        now->setEnabled(b && built);
        set(prefs::updateCheckEnabled, Value::boolean(b));
    });
    connect(notify, &QCheckBox::toggled, this, [this](bool b) { set(prefs::notifyUpdate, Value::boolean(b)); });
    connect(now, &QPushButton::clicked, this, [this] { delegate_.checkForLastReleaseAvailable(Sender{}); });
    reloaders_.push_back([this, enabled, notify, now, built] {
        const Value on = defaults_.objectForKey(prefs::updateCheckEnabled);
        enabled->setChecked(built && (on.isAbsent() || on.toBool()));
        enabled->setEnabled(built);
        notify->setEnabled(enabled->isChecked());
        now->setEnabled(enabled->isChecked());
        notify->setChecked(defaults_.boolForKey(prefs::notifyUpdate));
        const Value last = defaults_.objectForKey(prefs::lastCheckDateForUpdate);
        lastCheckLabel_->setText(
            last.isDate() ? QStringLiteral("Last check: %1")
                                .arg(QLocale().toString(toVariant(last).toDateTime().toLocalTime(), QLocale::ShortFormat))
                          : QStringLiteral("Not checked yet"));
    });
    return w;
}

}  // namespace qv::app

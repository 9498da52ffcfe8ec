#include "PasswordMakerWindow.h"

#include "foundation/Pasteboard.h"
#include "foundation/UserDefaults.h"
#include "shell/MyAppDelegate.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QFontDatabase>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QPushButton>
#include <QScreen>
#include <QSpinBox>
#include <QVBoxLayout>

namespace qv::app {

PasswordQualityView::PasswordQualityView(QWidget* parent) : QWidget(parent) {
    setObjectName(QStringLiteral("pwQualityView"));
    setMinimumSize(sizeHint());
}

void PasswordQualityView::SetQualityValue(int rating) {
    quality_.SetQualityValue(rating);
    update();
}

void PasswordQualityView::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.setRenderHint(QPainter::SmoothPixmapTransform);
    const char* name = nullptr;
    switch (quality_.star()) {
    case PasswordQuality::Star::Red: name = ":/images/starRed.png"; break;
    case PasswordQuality::Star::Yellow: name = ":/images/starYellow.png"; break;
    case PasswordQuality::Star::Green: name = ":/images/starGreen.png"; break;
    case PasswordQuality::Star::None: break;
    }
    if (name) {
        const QPixmap star{QString::fromLatin1(name)};
        for (int i = 0; i < quality_.qualityValue; ++i) p.drawPixmap(QRectF(19 * i, 2, 16, 15), star, star.rect());
    }
    // Black in the desktop's own sans font, 11 high in the view's units (those of the 15-high
    // rectangle it stands in, and of the stars), whatever the theme's colours.
    QFont f = QFontDatabase::systemFont(QFontDatabase::GeneralFont);
    f.setPixelSize(11);
    p.setFont(f);
    p.setPen(Qt::black);
    const int x = 19 * quality_.qualityValue;
    p.drawText(QRectF(x, 0, x + 32, 15), Qt::AlignLeft | Qt::AlignTop, quality_.text());
}

namespace {
const std::pair<int, const char*> kTypes[] = {
    {10, "Letters"},
    {11, "Lower-case letters"},
    {20, "Letters and digits"},
    {21, "Lower-case letters and digits"},
    {22, "Upper-case letters and digits"},
    {30, "Digits only (PIN)"},
    {40, "Letters, digits and punctuation"},
    {41, "Lower-case, punctuation and digits"},
    {42, "Upper-case, punctuation and digits"},
    {52, "Hexadecimal"},
    {60, "Readable, lower case"},
    {61, "Readable, upper case"},
};
}  // namespace

PasswordMakerWindow::PasswordMakerWindow(MyAppDelegate& delegate, UserDefaults& defaults, Pasteboard& pasteboard,
                                         QWidget* parent)
    : QWidget(parent, Qt::Tool), delegate_(delegate), defaults_(defaults), pasteboard_(pasteboard) {
    setObjectName(QStringLiteral("passwordMakerWindow"));
    setWindowTitle(QStringLiteral("Password Generator"));
    auto* layout = new QVBoxLayout(this);
    auto* form = new QFormLayout;
    type_ = new QComboBox(this);
    type_->setObjectName(QStringLiteral("passwordType"));
    for (const auto& [tag, title] : kTypes) type_->addItem(QLatin1String(title), tag);
    length_ = new QSpinBox(this);
    length_->setObjectName(QStringLiteral("passwordLength"));
    length_->setRange(1, 100);  // the generator clamps to 5..42, as it always has
    form->addRow(QStringLiteral("Type:"), type_);
    form->addRow(QStringLiteral("Length:"), length_);
    layout->addLayout(form);

    secure_ = new QLineEdit(this);
    secure_->setObjectName(QStringLiteral("secureTextField4PasswordMaker"));
    secure_->setEchoMode(QLineEdit::Password);
    secure_->setReadOnly(true);
    unsecure_ = new QLineEdit(this);
    unsecure_->setObjectName(QStringLiteral("unsecureTextField4PasswordMaker"));
    unsecure_->setReadOnly(true);
    QFont mono(QStringLiteral("DejaVu Sans Mono"));
    mono.setStyleHint(QFont::Monospace);
    for (QLineEdit* e : {secure_, unsecure_}) {
        e->setFont(mono);
        e->setMinimumWidth(340);
        layout->addWidget(e);
    }
    visible_ = new QCheckBox(QStringLiteral("Show password"), this);
    visible_->setObjectName(QStringLiteral("pwIsVisible4PasswordMaker"));
    layout->addWidget(visible_);
    quality_ = new PasswordQualityView(this);
    layout->addWidget(quality_);
    problem_ = new QLabel(this);
    problem_->setObjectName(QStringLiteral("generatorProblem"));
    problem_->setWordWrap(true);
    problem_->setStyleSheet(QStringLiteral("color: #b3261e"));
    problem_->hide();
    layout->addWidget(problem_);
    auto* buttons = new QHBoxLayout;
    auto* copy = new QPushButton(QStringLiteral("Copy"), this);
    copy->setObjectName(QStringLiteral("copyGeneratedPassword"));
    auto* generate = new QPushButton(QStringLiteral("Generate"), this);
    generate->setObjectName(QStringLiteral("generate"));
    generate->setDefault(true);
    buttons->addStretch(1);
    buttons->addWidget(copy);
    buttons->addWidget(generate);
    layout->addLayout(buttons);

    // The window's state lives in the application delegate, as the design has it.
    type_->setCurrentIndex(std::max(0, type_->findData(delegate_.pwTypeTag4PasswordMaker)));
    length_->setValue(delegate_.pwLength4PasswordMaker);
    visible_->setChecked(delegate_.pwIsVisible4PasswordMaker);
    auto applyVisibility = [this] {
        secure_->setVisible(!delegate_.pwIsVisible4PasswordMaker);
        unsecure_->setVisible(delegate_.pwIsVisible4PasswordMaker);
    };
    applyVisibility();
    connect(visible_, &QCheckBox::toggled, this, [this, applyVisibility](bool on) {
        delegate_.pwIsVisible4PasswordMaker = on;
        applyVisibility();
    });
    connect(type_, &QComboBox::currentIndexChanged, this, [this] {
        delegate_.pwTypeTag4PasswordMaker = type_->currentData().toInt();
        calcNewPasswordInPasswordMaker();
    });
    connect(length_, &QSpinBox::valueChanged, this, [this](int v) {
        delegate_.pwLength4PasswordMaker = v;
        calcNewPasswordInPasswordMaker();
    });
    connect(generate, &QPushButton::clicked, this, &PasswordMakerWindow::calcNewPasswordInPasswordMaker);
    connect(copy, &QPushButton::clicked, this, [this] { pasteboard_.setString(password()); });
}

QString PasswordMakerWindow::password() const { return delegate_.password4PasswordMaker; }

void PasswordMakerWindow::showPasswordMaker() {
    if (!isVisible()) {
        adjustSize();
        if (const QScreen* s = screen()) move(s->availableGeometry().center() - rect().center());
        if (delegate_.password4PasswordMaker.isEmpty()) calcNewPasswordInPasswordMaker();
    }
    show();
    raise();
    activateWindow();
}

void PasswordMakerWindow::calcNewPasswordInPasswordMaker() {
    const int length = ZKPasswordMaker::clampLength(delegate_.pwLength4PasswordMaker);
    const int tag = delegate_.pwTypeTag4PasswordMaker;
    const QString avoid = defaults_.stringForKey(prefs::noCharStringDisambiguator);
    const auto made = ZKPasswordMaker::sharedPasswordMaker().generatePasswordType(
        tag, length, defaults_.boolForKey(prefs::enableDisambiguator), avoid);
    if (!made) {
        // Where the original ended the program, say what happened and keep the last password.
        problem_->setText(QStringLiteral("The characters to avoid (\u201c%1\u201d, in Preferences) leave nothing to make "
                                         "this type of password from. Choose another type or fewer characters to avoid.")
                              .arg(avoid));
        problem_->show();
        return;
    }
    problem_->hide();
    delegate_.password4PasswordMaker = *made;
    secure_->setText(*made);
    unsecure_->setText(*made);
    quality_->SetQualityValue(ZKPasswordMaker::calcStarNumberFromTypeTag(tag, length));
}

}  // namespace qv::app

#pragma once

// Plain backgrounds for the windows' layouts: white fills, a white fill in a gray frame, and
// gray gradients. They draw and do nothing else; children are laid out on them as on any widget.

#include <QBrush>
#include <QWidget>

namespace qv::app {

// A white fill.
class WhiteView : public QWidget {
    Q_OBJECT
public:
    explicit WhiteView(QWidget* parent = nullptr) : QWidget(parent) {}

protected:
    void paintEvent(QPaintEvent* event) override;
};

// The same white fill, without a frame.
class ZKWhiteViewNoFrame : public WhiteView {
    Q_OBJECT
public:
    using WhiteView::WhiteView;
};

// A white fill inside a one-pixel gray frame.
class ZKWhiteView : public QWidget {
    Q_OBJECT
public:
    explicit ZKWhiteView(QWidget* parent = nullptr) : QWidget(parent) {}

protected:
    void paintEvent(QPaintEvent* event) override;
};

// A gentle gradient over the whole view, made from the window colour of the palette (so a light
// gray on a light desktop, and dark on a dark one) unless given colours of its own.
class ZKGrayView : public QWidget {
    Q_OBJECT
public:
    explicit ZKGrayView(QWidget* parent = nullptr);

    // Degrees counter-clockwise from the right, as on paper: 90 runs from the first colour at
    // the bottom to the last at the top.
    double angle = 90.0;
    // Radial: the first colour at the centre, the last at the corners; the angle is not used.
    bool isRadial = false;
    QGradientStops myGradient;

protected:
    ZKGrayView(QGradientStops stops, QWidget* parent);
    void paintEvent(QPaintEvent* event) override;
    void changeEvent(QEvent* event) override;

private:
    QGradientStops fromPalette() const;
    QGradientStops paletteGradient_;  // what the palette last gave, to tell it from chosen colours
};

// The same gradient in darker grays.
class ZKDarkGrayView : public ZKGrayView {
    Q_OBJECT
public:
    explicit ZKDarkGrayView(QWidget* parent = nullptr);
};

}  // namespace qv::app

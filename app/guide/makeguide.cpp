// Makes the user guide's PDF from its Markdown text at build time:
//   makeguide SOURCE.md OUT.pdf
// Runs without a display (QT_QPA_PLATFORM=offscreen); the pages are A4 with numbers at the foot.

#include <QFile>
#include <QFont>
#include <QGuiApplication>
#include <QPageLayout>
#include <QPageSize>
#include <QPainter>
#include <QPdfWriter>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>
#include <QTextFrame>
#include <QAbstractTextDocumentLayout>

#include <cstdio>

int main(int argc, char** argv) {
    QGuiApplication app(argc, argv);
    const QStringList args = app.arguments();
    if (args.size() != 3) {
        std::fprintf(stderr, "usage: makeguide SOURCE.md OUT.pdf\n");
        return 2;
    }
    QFile source(args.at(1));
    if (!source.open(QIODevice::ReadOnly)) {
        std::fprintf(stderr, "makeguide: cannot read %s\n", qPrintable(args.at(1)));
        return 1;
    }
    const QString text = QString::fromUtf8(source.readAll());

    QPdfWriter pdf(args.at(2));
    pdf.setTitle(QStringLiteral("Quorvane 4 User Guide"));
    pdf.setCreator(QStringLiteral("Quorvane"));
    pdf.setResolution(300);
    pdf.setPageLayout(QPageLayout(QPageSize(QPageSize::A4), QPageLayout::Portrait, QMarginsF(20, 18, 20, 22),
                                  QPageLayout::Millimeter));

    QTextDocument doc;
    QFont body(QStringLiteral("DejaVu Sans"));
    body.setPointSizeF(10.5);
    doc.setDefaultFont(body);
    doc.setMarkdown(text);
    // Room between paragraphs and a little more above headings than the Markdown reader gives.
    for (QTextBlock b = doc.begin(); b.isValid(); b = b.next()) {
        QTextCursor c(b);
        QTextBlockFormat f = b.blockFormat();
        f.setLineHeight(125, QTextBlockFormat::ProportionalHeight);
        if (f.headingLevel() > 0) {
            f.setTopMargin(f.headingLevel() == 1 ? 0 : 14);
            f.setBottomMargin(6);
            QTextCharFormat cf;
            cf.setForeground(QColor(28, 62, 110));
            c.select(QTextCursor::BlockUnderCursor);
            c.mergeCharFormat(cf);
            c.clearSelection();
        } else {
            f.setBottomMargin(6);
        }
        c.setBlockFormat(f);
    }

    const QRectF page = pdf.pageLayout().paintRectPixels(pdf.resolution());
    const double footer = pdf.resolution() * 0.35;
    doc.setPageSize(QSizeF(page.width(), page.height() - footer));
    // The document is laid out at the printer's resolution; fonts in points follow it.
    doc.documentLayout()->setPaintDevice(&pdf);
    doc.setPageSize(QSizeF(page.width(), page.height() - footer));

    QPainter painter(&pdf);
    const int pages = doc.pageCount();
    QFont small(QStringLiteral("DejaVu Sans"));
    small.setPointSizeF(8.5);
    for (int i = 0; i < pages; ++i) {
        if (i > 0) pdf.newPage();
        painter.save();
        painter.translate(0, -i * (page.height() - footer));
        const QRectF clip(0, i * (page.height() - footer), page.width(), page.height() - footer);
        doc.drawContents(&painter, clip);
        painter.restore();
        painter.setFont(small);
        painter.setPen(QColor(110, 110, 110));
        painter.drawText(QRectF(0, page.height() - footer * 0.8, page.width(), footer * 0.8), Qt::AlignCenter,
                         QStringLiteral("Quorvane 4 User Guide \u2014 page %1 of %2").arg(i + 1).arg(pages));
    }
    if (!painter.end()) {
        std::fprintf(stderr, "makeguide: cannot write %s\n", qPrintable(args.at(2)));
        return 1;
    }
    return 0;
}

#pragma once

// The words of a PDF with their boxes, as pdftotext -bbox reads them, so a
// test checks what a printed page really shows and where.

#include <QFile>
#include <QList>
#include <QProcess>
#include <QRegularExpression>
#include <QString>
#include <QTextDocumentFragment>

#include <algorithm>

struct PdfWord {
    int page;                      // 1-based
    double xMin, yMin, xMax, yMax; // points from the top left of the page
    QString text;
};

struct PdfWords {
    QList<PdfWord> words;
    int pageCount = 0;
    bool ok = false;

    static PdfWords read(const QString &pdfPath)
    {
        PdfWords result;
        QProcess p;
        p.start(QStringLiteral("pdftotext"),
                {QStringLiteral("-bbox"), pdfPath, QStringLiteral("-")});
        if (!p.waitForFinished(30000) || p.exitCode() != 0)
            return result;
        static const QRegularExpression tag(
            QStringLiteral("<page |<word xMin=\"([0-9.]+)\" yMin=\"([0-9.]+)\" xMax=\"([0-9.]+)\" "
                           "yMax=\"([0-9.]+)\">([^<]*)</word>"));
        for (auto it = tag.globalMatch(QString::fromUtf8(p.readAllStandardOutput()));
             it.hasNext();) {
            const auto m = it.next();
            if (m.captured(0).startsWith(QLatin1String("<page")))
                ++result.pageCount;
            else
                result.words.append({result.pageCount, m.captured(1).toDouble(),
                                     m.captured(2).toDouble(), m.captured(3).toDouble(),
                                     m.captured(4).toDouble(),
                                     QTextDocumentFragment::fromHtml(m.captured(5)).toPlainText()});
        }
        result.ok = true;
        return result;
    }

    // The words of a page joined by blanks, in reading order.
    QString pageText(int page) const
    {
        QStringList texts;
        for (const PdfWord &w : words)
            if (w.page == page)
                texts << w.text;
        return texts.join(QLatin1Char(' '));
    }

    // The first word with this text on the page (page 0: any page), or null.
    const PdfWord *find(const QString &text, int page = 0, int skip = 0) const
    {
        for (const PdfWord &w : words)
            if (w.text == text && (page == 0 || w.page == page) && skip-- == 0)
                return &w;
        return nullptr;
    }
    int count(const QString &text) const
    {
        return int(std::count_if(words.begin(), words.end(),
                                 [&text](const PdfWord &w) { return w.text == text; }));
    }
    // The word that follows the given one on its line.
    const PdfWord *after(const PdfWord *word) const
    {
        const qsizetype i = word - words.constData();
        return i >= 0 && i + 1 < words.size() ? &words[i + 1] : nullptr;
    }
};

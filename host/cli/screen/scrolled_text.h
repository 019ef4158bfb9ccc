/// \file
/// A text that is larger than the window it is shown in.
#ifndef DX7_CLI_SCROLLED_TEXT_H
#define DX7_CLI_SCROLLED_TEXT_H

#include <QStringList>

namespace dx7::cli {

/// Keeps its place while the text changes under it.
class ScrolledText {
public:
    /// Takes the arrow keys, Page Up and Page Down; `page` is the number of lines shown. False for other
    /// keys.
    bool scroll(int key, int page);
    /// What a window of this size shows. Lines that are too wide keep their label of LABEL_WIDTH characters.
    QStringList window(const QStringList& lines, int height, int width);
    /// Which keys show more of what was last shown; empty when all of it fits.
    QString keysText() const;

    /// Width of the label and of each column after it.
    static constexpr int LABEL_WIDTH = 26;
    static constexpr int COLUMN_WIDTH = 11;

private:
    int top_ = 0;
    int left_ = 0;
    bool tall_ = false;
    bool wide_ = false;
};

}  // namespace dx7::cli

#endif

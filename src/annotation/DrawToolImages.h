#pragma once

#include <QIcon>
#include <QString>

// The drawing toolbar's button pictures, drawn in code and looked up by the
// labels the toolbar logs: "画笔" for the pen, "画笔选中" for the pen while it
// is the active tool, and so on for 鼠标 文字 矩形 椭圆 箭头 直线 线宽 颜色
// 橡皮擦 白板 撤销 清除, plus 重做 (redo), 字体 (font) and 关闭 (close). The
// "选中" form is the same glyph in white on the accent colour. An unknown
// label gives an empty icon. Main thread only (it paints QPixmaps).
QIcon drawToolImage(const QString& label);

// The suffix that turns a label into its selected form.
inline const QString kSelectedSuffix = QStringLiteral("选中");

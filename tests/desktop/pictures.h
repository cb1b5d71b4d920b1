// Pictures of what the window shows, for people to look at: tests save them if VANTRY_PICTURES names a folder.
#pragma once

#include <QDir>
#include <QImage>
#include <QPalette>
#include <QString>

namespace vantry {

inline bool PicturesWanted() {
  return !qEnvironmentVariableIsEmpty("VANTRY_PICTURES");
}

inline void SavePicture(const QImage& picture, const QString& name) {
  const QDir folder(qEnvironmentVariable("VANTRY_PICTURES"));
  folder.mkpath(".");
  picture.save(folder.filePath(name + ".png"));
}

// Colours as a desktop of today has them.
inline QPalette PicturePalette(bool dark) {
  QPalette palette(dark ? QColor("#31363b") : QColor("#efefef"));
  palette.setColor(QPalette::Window, dark ? QColor("#2a2e32") : QColor("#eff0f1"));
  palette.setColor(QPalette::Base, dark ? QColor("#1b1e20") : QColor("#ffffff"));
  palette.setColor(QPalette::AlternateBase, dark ? QColor("#232629") : QColor("#f7f7f7"));
  for (const QPalette::ColorRole role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText}) {
    palette.setColor(role, dark ? QColor("#fcfcfc") : QColor("#232629"));
    palette.setColor(QPalette::Disabled, role, dark ? QColor("#75787b") : QColor("#9a9c9e"));
  }
  palette.setColor(QPalette::Highlight, QColor("#2e77b8"));
  palette.setColor(QPalette::HighlightedText, Qt::white);
  palette.setColor(QPalette::Link, dark ? QColor("#5aa9e6") : QColor("#1d62a8"));
  palette.setColor(QPalette::LinkVisited, dark ? QColor("#b39ddb") : QColor("#6a3fa0"));
  return palette;
}

}  // namespace vantry

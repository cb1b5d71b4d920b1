// `TreeView`: the sites, with the numbers of their visitors.
#pragma once

#include <QStandardItem>
#include <QTreeView>
#include <cstdint>
#include <functional>
#include <vector>

#include "core/tables.h"

namespace vantry {

class SiteTree final : public QTreeView {
 public:
  SiteTree(const LiveTables& t, QWidget* parent);

  // Makes all nodes anew. The chosen one stays chosen.
  void Rebuild();
  // Renews the texts that have changed, and makes all nodes anew when sites have come or gone.
  void Refresh();
  // The node of CurrentView becomes the chosen one, without a call of `on_choice`.
  void Choose(int16_t view);
  void SetImage(int16_t site, int16_t icon);
  // The chosen site; 0 when a node of all sites is chosen.
  int16_t ChosenSite() const;

  std::function<void(int16_t site)> on_choice;  // 0 for all sites.
  std::function<void(QPoint global, bool on_root)> on_menu;

 private:
  QStandardItem* NodeOf(int16_t site) const;
  bool SitesChanged() const;
  const LiveTables& t_;
  QStandardItemModel model_;
  std::vector<std::pair<int16_t, QStandardItem*>> nodes_;  // By site.
  QStandardItem* all_ = nullptr;
  bool quiet_ = false;
};

}  // namespace vantry

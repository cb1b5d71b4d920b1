#include "desktop/site_tree.h"

#include <QContextMenuEvent>
#include <QHeaderView>
#include <algorithm>

#include "core/visitor_rows.h"
#include "desktop/icons.h"
#include "desktop/shown_text.h"

namespace vantry {
namespace {

constexpr int kSiteRole = Qt::UserRole + 1;
constexpr int kIconRole = Qt::UserRole + 2;

QStandardItem* NewNode(const QString& text, const QString& key, int16_t site) {
  auto* node = new QStandardItem(text);
  node->setData(key, Qt::UserRole);
  node->setData(site, kSiteRole);
  return node;
}

int16_t IdleImage(const SiteRec& site) {
  return site.ProxyStyle ? kIconSiteIdleProxy : kIconSiteIdle;
}

}  // namespace

SiteTree::SiteTree(const LiveTables& t, QWidget* parent) : QTreeView(parent), t_(t) {
  setObjectName("TreeView");
  setAccessibleName("Sites");
  setModel(&model_);
  setHeaderHidden(true);
  setEditTriggers(NoEditTriggers);
  setUniformRowHeights(true);
  setTabKeyNavigation(false);
  // Also without a current node: a screen reader selects.
  QObject::connect(selectionModel(), &QItemSelectionModel::selectionChanged, this, [this] {
    if (!quiet_ && on_choice && selectionModel()->hasSelection()) on_choice(ChosenSite());
  });
  setContextMenuPolicy(Qt::CustomContextMenu);
  QObject::connect(this, &QWidget::customContextMenuRequested, this, [this](const QPoint& at) {
    const QModelIndex index = indexAt(at);
    if (index.isValid()) setCurrentIndex(index);
    const bool on_root = !index.isValid() || !index.parent().isValid();
    if (on_menu) on_menu(viewport()->mapToGlobal(at), on_root);
  });
  Rebuild();
}

void SiteTree::Rebuild() {
  const int16_t chosen = t_.CurrentView;
  quiet_ = true;
  model_.clear();
  nodes_.clear();
  QStandardItem* root = NewNode("Vantry", "ROOT", 0);
  root->setIcon(ProgramIcon());
  QStandardItem* sites = NewNode("Monitored Sites", "SITES", 0);
  model_.appendRow(root);
  root->appendRow(sites);
  for (int16_t n = 1; n <= t_.SiteCount(); ++n) {
    const SiteRec& site = t_.Site(n);
    if (site.Deleted) continue;
    QStandardItem* node = NewNode(ShownText(SiteNodeText(site)), "lf" + QString::number(n), n);
    node->setIcon(SlotIcon(IdleImage(site)));
    sites->appendRow(node);
    nodes_.emplace_back(n, node);
  }
  all_ = NewNode("All Sites", "lf0", 0);
  root->appendRow(all_);
  expandAll();
  quiet_ = false;
  Choose(chosen);
}

bool SiteTree::SitesChanged() const {
  size_t shown = 0;
  for (int16_t n = 1; n <= t_.SiteCount(); ++n) {
    if (t_.Site(n).Deleted) continue;
    if (shown >= nodes_.size() || nodes_[shown].first != n) return true;
    ++shown;
  }
  return shown != nodes_.size();
}

void SiteTree::Refresh() {
  if (SitesChanged()) return Rebuild();
  for (const auto& [n, node] : nodes_) {
    const QString text = ShownText(SiteNodeText(t_.Site(n)));
    if (node->text() != text) node->setText(text);
  }
}

QStandardItem* SiteTree::NodeOf(int16_t site) const {
  const auto found =
      std::lower_bound(nodes_.begin(), nodes_.end(), site, [](const auto& node, int16_t n) { return node.first < n; });
  return found == nodes_.end() || found->first != site ? nullptr : found->second;
}

void SiteTree::Choose(int16_t view) {
  QStandardItem* node = view > 0 ? NodeOf(view) : nullptr;
  const bool all_chosen = selectionModel()->hasSelection() && ChosenSite() == 0;
  if (!node && all_chosen) return;
  quiet_ = true;
  setCurrentIndex((node ? node : all_)->index());
  quiet_ = false;
}

void SiteTree::SetImage(int16_t site, int16_t icon) {
  QStandardItem* node = NodeOf(site);
  if (!node || node->data(kIconRole).toInt() == icon) return;
  node->setData(icon, kIconRole);
  node->setIcon(SlotIcon(icon));
}

int16_t SiteTree::ChosenSite() const {
  const QModelIndexList chosen = selectionModel()->selectedIndexes();
  return chosen.isEmpty() ? int16_t{0} : static_cast<int16_t>(chosen[0].data(kSiteRole).toInt());
}

}  // namespace vantry

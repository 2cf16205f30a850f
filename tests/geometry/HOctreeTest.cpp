#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "mesh/MeshTestSupport.h"
#include "qssse/geometry/HOctree.h"
#include "qssse/platform/MemoryException.h"
#include "qssse/platform/UserInterfaceManager.h"

using meshtest::P;

namespace {

using Tri = std::array<SSEPoint, 3>;

// A mesh of the given triangles with their boxes computed.
std::unique_ptr<CHTriangulation> Mesh(const std::vector<Tri>& tris) {
  auto m = std::make_unique<CHTriangulation>(static_cast<int>(tris.size()), 1.0f, 1.0f, 1.0f);
  for (std::size_t i = 0; i < tris.size(); ++i)
    meshtest::SetTriangle(*m, static_cast<int>(i), tris[i][0], tris[i][1], tris[i][2]);
  m->CalcSTV();
  return m;
}

// A small triangle with its box [x, x + s] x [y, y + s] x [z, z + s].
Tri Small(float x, float y, float z, float s = 0.25f) {
  return {P(x, y, z), P(x + s, y, z + s), P(x, y + s, z)};
}

// Every index of e's list, walking the chunks (not limited to nine like the reader).
std::vector<int> AllEntries(const t_hoctreeelement* e, int list) {
  std::vector<int> out;
  for (const t_hoctreeentrychunk* c = e->entries[list]; c != nullptr; c = c->next) {
    EXPECT_GE(c->count, 1);
    EXPECT_LE(c->count, 9);
    for (int i = 0; i < c->count; ++i) out.push_back(c->index[i]);
  }
  return out;
}

bool Within(const SSEPoint& lo, const SSEPoint& hi, const t_hoctreeelement& e) {
  return e.minPoint.x <= lo.x && e.minPoint.y <= lo.y && e.minPoint.z <= lo.z && e.minPoint.w <= lo.w &&
         hi.x <= e.maxPoint.x && hi.y <= e.maxPoint.y && hi.z <= e.maxPoint.z && hi.w <= e.maxPoint.w;
}

// The filing rule as the recursion it is described by: the oracle for the member's descent loop.
const t_hoctreeelement* PlainHolder(const t_htriangle& t, const t_hoctreeelement* e) {
  if (e == nullptr || !Within(*t.minPoint, *t.maxPoint, *e)) return nullptr;
  for (const t_hoctreeelement* c : e->children) {
    if (const t_hoctreeelement* h = PlainHolder(t, c)) return h;
  }
  return e;
}

const SSEPoint kLow = P(-4, -4, -4), kHigh = P(4, 4, 4);

}  // namespace

TEST(HOctree, LevelCountFollowsTheRoundedLogOfExtentOverCellSize) {
  // extent 8 (the largest lane of high - low): ratios 1.41, 1.42, 2, 4, 8, 64.
  const std::vector<std::pair<float, int>> cases = {{8.0f / 1.41f, 0}, {8.0f / 1.42f, 1}, {4.0f, 1},
                                                    {2.0f, 2},         {1.0f, 3},         {0.125f, 6}};
  for (const auto& [cell, levels] : cases) {
    CHOctree tree(P(4, 1, 0.5f), P(-4, -1, -0.5f), cell);
    EXPECT_EQ(tree.GetNumLevels(), levels) << cell;
    EXPECT_EQ(tree.GetExtent(), 8.0f);
    int total = 0;
    for (int k = 0, n = 1; k < levels; ++k, n *= 8) {
      EXPECT_EQ(tree.GetNumLevelElements(k), n);
      total += n;
    }
    EXPECT_EQ(tree.GetNumBricks(), total);
    EXPECT_EQ(tree.GetStem() != nullptr, levels > 0);
  }
}

TEST(HOctree, ElementsArePositionedByTheChildOffsetTable) {
  CHOctree tree(P(6, 4, 4), P(-2, -4, -4), 2.0f);  // extent 8, two levels, centre (2, 0, 0)
  const t_hoctreeelement* root = tree.GetStem();
  ASSERT_NE(root, nullptr);
  EXPECT_POINT(root->center, 2, 0, 0, 0);
  EXPECT_POINT(root->maxPoint, 6, 4, 4, 4);  // every lane, w included
  EXPECT_POINT(root->minPoint, -2, -4, -4, -4);
  EXPECT_EQ(root->halfSize, 4.0f);
  EXPECT_EQ(root->parent, nullptr);
  const float sign[8][3] = {{1, 1, -1}, {-1, 1, -1}, {-1, -1, -1}, {1, -1, -1},
                            {1, 1, 1},  {-1, 1, 1},  {-1, -1, 1},  {1, -1, 1}};
  for (int c = 0; c < 8; ++c) {
    const t_hoctreeelement* child = root->children[c];
    ASSERT_EQ(child, &tree.GetLevel(1)[c]);
    EXPECT_EQ(child->parent, root);
    EXPECT_EQ(child->level, 1);
    EXPECT_EQ(child->halfSize, 2.0f);
    EXPECT_POINT(child->center, 2 + 2 * sign[c][0], 2 * sign[c][1], 2 * sign[c][2], 0);
    EXPECT_POINT(child->maxPoint, 4 + 2 * sign[c][0], 2 + 2 * sign[c][1], 2 + 2 * sign[c][2], 2);
    for (const t_hoctreeelement* g : child->children) EXPECT_EQ(g, nullptr);
  }
}

TEST(HOctree, EveryConstructionShowsOctreeCreatedAlsoWithoutRoot) {
  std::vector<std::wstring> shown;
  QsCUserInterfaceManager::SetMessageHandler([&](const wchar_t* text, int type, int flags) {
    shown.emplace_back(text);
    EXPECT_EQ(type, 0);
    EXPECT_EQ(flags, 0);
    return 0;
  });
  { CHOctree a(kHigh, kLow, 1.0f); }
  { CHOctree b(kHigh, kLow, 100.0f); }
  QsCUserInterfaceManager::SetMessageHandler(nullptr);
  EXPECT_EQ(shown, (std::vector<std::wstring>{L"OctreeCreated", L"OctreeCreated"}));
}

TEST(HOctree, TreeWithoutLevelsAcceptsEveryMemberAndATreeWithANaNCornerFilesNothing) {
  const float nan = std::numeric_limits<float>::quiet_NaN();
  const float inf = std::numeric_limits<float>::infinity();
  auto mesh = Mesh({Small(0, 0, 0)});
  std::vector<CHOctree> rootless;
  rootless.emplace_back(kHigh, kLow, 6.0f);  // ratio 1.33 < sqrt(2)
  rootless.emplace_back(kHigh, kLow, -1.0f);
  rootless.emplace_back(kHigh, kLow, nan);
  rootless.emplace_back(kLow, kHigh, 1.0f);  // corners swapped: negative extent
  rootless.emplace_back(P(nan, nan, nan, nan), kLow, 1.0f);
  rootless.emplace_back(P(inf, 0, 0), P(-inf, 0, 0), inf);
  for (CHOctree& tree : rootless) {
    EXPECT_EQ(tree.GetStem(), nullptr);
    EXPECT_EQ(tree.GetNumBricks(), 0);
    EXPECT_EQ(tree.GetLevel(0), nullptr);
    tree.CalculateOctreeEntries(mesh.get(), 0);
    EXPECT_FALSE(tree.InsertTriangleIntoOctree(mesh->GetTriangle(0), tree.GetStem(), 0));
    SSEPoint hi = P(1, 2, 3), lo = P(4, 5, 6);
    tree.FindMinMaxPointTriangulation(mesh.get(), hi, lo, tree.GetStem(), 0);
    EXPECT_POINT(hi, 1, 2, 3, 0);
    EXPECT_EQ(tree.GetEntryFromOctreeElement(tree.GetStem(), 0, 0), -1);
    tree.RemoveAllEntriesFromOctreeElement(tree.GetStem());
    tree.PositionReferenceOctree(tree.GetStem(), &hi);
  }
  EXPECT_EQ(mesh->GetTriangle(0)->mark, -1);
  // A NaN corner lane: the extent comes from the finite lanes, but no box fits inside the tree's.
  CHOctree nanCorner(P(nan, 4, 4), kLow, 1.0f);
  ASSERT_NE(nanCorner.GetStem(), nullptr);
  nanCorner.CalculateOctreeEntries(mesh.get(), 0);
  EXPECT_EQ(mesh->GetTriangle(0)->mark, -1);
  EXPECT_TRUE(AllEntries(nanCorner.GetStem(), 0).empty());
}

TEST(HOctree, TreeLargerThanTheMachineIsRejectedBeforeAllocating) {
  // 2^40 cells per side would be 40 levels; a zero cell size asks for the cap of 99 levels.
  EXPECT_THROW(CHOctree(kHigh, kLow, 8.0f / 1099511627776.0f), CMemoryException);
  EXPECT_THROW(CHOctree(kHigh, kLow, 0.0f), CMemoryException);
  EXPECT_THROW(CHOctree(P(3e38f, 0, 0), P(-3e38f, 0, 0), 1e-38f), CMemoryException);
}

// Which element each triangle goes to (points on dividing planes included) is the plain recursion's in
// the random-mesh test below; the mark per level is the level table's. Here what filing leaves alone.
TEST(HOctree, TrianglesOutOfTheRootOrBeyondTheLevelsAreNotFiledAndOtherListsStayEmpty) {
  CHOctree tree(kHigh, kLow, 1.0f);  // levels 0, 1 (half-size 2), 2 (half-size 1)
  auto mesh = Mesh({Small(2.25f, 2.25f, 2.25f), Small(3.9f, 3.9f, 3.9f, 0.2f)});  // the second pokes out
  tree.CalculateOctreeEntries(mesh.get(), 1);
  EXPECT_EQ(AllEntries(tree.GetStem()->children[4]->children[4], 1), std::vector<int>{0});
  EXPECT_EQ(mesh->GetTriangle(0)->mark, 2);
  EXPECT_EQ(mesh->GetTriangle(1)->mark, -1);
  EXPECT_FALSE(tree.InsertTriangleIntoOctree(mesh->GetTriangle(1), tree.GetStem(), 2));
  EXPECT_FALSE(tree.InsertTriangleIntoOctree(mesh->GetTriangle(0), tree.GetStem(), 4));
  EXPECT_FALSE(tree.InsertTriangleIntoOctree(nullptr, tree.GetStem(), 0));
  for (int list : {0, 2, 3}) EXPECT_TRUE(AllEntries(tree.GetStem(), list).empty());
}

TEST(HOctree, MarkOfAFiledTriangleFollowsTheIrregularLevelTable) {
  const std::map<int, int> expected = {{0, 1},  {1, 4},   {2, 2},   {3, 3},  {4, 5},  {5, 6},
                                       {9, 10}, {10, 11}, {11, -1}, {12, 1}, {50, 1}, {-3, 1}};
  CHOctree tree(kHigh, kLow, 100.0f);  // the member needs a tree, not a root
  auto mesh = Mesh({Small(0, 0, 0)});
  for (const auto& [level, mark] : expected) {
    t_hoctreeelement e{};
    e.level = level;
    tree.InsertTriangleIntoOctreeElement(mesh->GetTriangle(0), &e, 3);
    EXPECT_EQ(mesh->GetTriangle(0)->mark, mark) << level;
    EXPECT_EQ(AllEntries(&e, 3), std::vector<int>{0});
    tree.RemoveAllEntriesFromOctreeElement(&e);
  }
}

TEST(HOctree, OnlyTheFirstNineEntriesOfAListAreReadable) {
  CHOctree tree(kHigh, kLow, 4.0f);
  t_hoctreeelement* root = tree.GetStem();
  EXPECT_EQ(tree.GetEntryFromOctreeElement(root, 0, 0), -1);  // empty list
  for (int i = 0; i < 19; ++i) tree.AppendEntryToOctreeElement(root, 0, 100 + i);
  // Chunks of nine: 9, 9, 1.
  ASSERT_NE(root->entries[0], nullptr);
  EXPECT_EQ(root->entries[0]->count, 9);
  EXPECT_EQ(root->entries[0]->next->count, 9);
  EXPECT_EQ(root->entries[0]->next->next->count, 1);
  EXPECT_EQ(root->entries[0]->next->next->next, nullptr);
  for (int i = 0; i < 9; ++i) EXPECT_EQ(tree.GetEntryFromOctreeElement(root, 0, i), 100 + i);
  for (int i : {9, 10, 17, 18, 19, 1000, -1}) EXPECT_EQ(tree.GetEntryFromOctreeElement(root, 0, i), -1) << i;
  EXPECT_EQ(AllEntries(root, 0).size(), 19u);
  EXPECT_EQ(tree.GetEntryFromOctreeElement(root, 4, 0), -1);
  EXPECT_EQ(tree.GetEntryFromOctreeElement(root, -1, 0), -1);
  EXPECT_EQ(tree.GetEntryFromOctreeElement(nullptr, 0, 0), -1);

  tree.AppendEntryToOctreeElement(root, 1, 7);
  tree.RemoveAllEntriesFromOctreeElement(root);
  for (int list = 0; list < 4; ++list) EXPECT_EQ(root->entries[list], nullptr);
  tree.AppendEntryToOctreeElement(root, 2, 5);
  tree.ClearEntry(*root);
  EXPECT_EQ(root->entries[2], nullptr);
  EXPECT_EQ(root->halfSize, 0.0f);
  EXPECT_EQ(root->children[0], nullptr);
}

TEST(HOctree, CollectorsMinimumIsTheLastTrianglesBoxMinimumChildrenFirst) {
  CHOctree tree(kHigh, kLow, 4.0f);                            // the root alone
  auto mesh = Mesh({{P(-3, -3, -3), P(3, 3, 3), P(-3, 3, 0)},  // the widest box
                    Small(1, 1, 1),                            // a small one, filed last
                    Small(2, 2, 2)});
  t_hoctreeelement* root = tree.GetStem();
  const auto collect = [&](SSEPoint& hi, SSEPoint& lo) {
    hi = P(-1e6f, -1e6f, -1e6f, -1e6f);
    lo = P(1e6f, 1e6f, 1e6f, 1e6f);
    tree.FindMinMaxPointTriangulation(mesh.get(), hi, lo, root, 0);
  };
  tree.AppendEntryToOctreeElement(root, 0, 0);
  tree.AppendEntryToOctreeElement(root, 0, 1);
  SSEPoint hi, lo;
  collect(hi, lo);
  EXPECT_POINT(hi, 3, 3, 3, 0);
  EXPECT_POINT(lo, 1, 1, 1, 0);  // not (-3, -3, -3): the first box's minimum is forgotten
  tree.RemoveAllEntriesFromOctreeElement(root);
  tree.AppendEntryToOctreeElement(root, 0, 1);
  tree.AppendEntryToOctreeElement(root, 0, 0);
  collect(hi, lo);
  EXPECT_POINT(lo, -3, -3, -3, 0);  // the order of filing decides

  // Ten entries: the tenth (triangle 2, which would raise the maximum) is not read.
  tree.RemoveAllEntriesFromOctreeElement(root);
  for (int i = 0; i < 9; ++i) tree.AppendEntryToOctreeElement(root, 0, 1);
  tree.AppendEntryToOctreeElement(root, 0, 2);
  collect(hi, lo);
  EXPECT_POINT(hi, 1.25f, 1.25f, 1.25f, 0);
  // An index that is no triangle of the mesh is skipped.
  tree.RemoveAllEntriesFromOctreeElement(root);
  tree.AppendEntryToOctreeElement(root, 0, 42);
  collect(hi, lo);
  EXPECT_POINT(hi, -1e6f, -1e6f, -1e6f, -1e6f);

  // Children are visited before the element itself: the root's entry comes last.
  CHOctree deep(kHigh, kLow, 2.0f);
  auto two = Mesh({Small(-3, -3, -3), Small(2, 2, 2)});
  deep.CalculateOctreeEntries(two.get(), 0);             // both go to level-1 children
  deep.AppendEntryToOctreeElement(deep.GetStem(), 0, 0);  // and triangle 0 once more at the root
  hi = P(-1e6f, -1e6f, -1e6f), lo = P(1e6f, 1e6f, 1e6f);
  deep.FindMinMaxPointTriangulation(two.get(), hi, lo, deep.GetStem(), 0);
  EXPECT_POINT(lo, -3, -3, -3, 0);
}

TEST(HOctree, RandomMeshesAreFiledOnceEachIntoTheDeepestHolder) {
  std::mt19937 rng(42);
  for (int round = 0; round < 20; ++round) {
    std::vector<Tri> tris;
    for (int i = 0; i < 300; ++i) {
      // Corners on a coarse grid, some beyond the root box [-4, 4], many small triangles.
      const auto c = [&] { return static_cast<float>(static_cast<int>(rng() % 10) - 5); };
      const auto d = [&] { return 0.5f * static_cast<float>(rng() % 3); };
      const SSEPoint a = P(c(), c(), c());
      tris.push_back({a, P(a.x + d(), a.y + d(), a.z), P(a.x, a.y + d(), a.z + d())});
    }
    auto mesh = Mesh(tris);
    CHOctree tree(kHigh, kLow, round % 2 ? 1.0f : 0.5f);
    tree.CalculateOctreeEntries(mesh.get(), round % 4);
    // Each triangle is filed exactly once, in the element the plain recursion picks, within its box.
    std::vector<const t_hoctreeelement*> where(tris.size(), nullptr);
    for (int k = 0; k < tree.GetNumLevels(); ++k) {
      for (int i = 0; i < tree.GetNumLevelElements(k); ++i) {
        const t_hoctreeelement& e = tree.GetLevel(k)[i];
        for (int list = 0; list < 4; ++list) {
          for (int index : AllEntries(&e, list)) {
            ASSERT_EQ(list, round % 4);
            ASSERT_TRUE(index >= 0 && index < static_cast<int>(tris.size()));
            ASSERT_EQ(where[static_cast<std::size_t>(index)], nullptr) << "filed twice: " << index;
            where[static_cast<std::size_t>(index)] = &e;
            const t_htriangle& t = *mesh->GetTriangle(index);
            EXPECT_TRUE(Within(*t.minPoint, *t.maxPoint, e));
          }
        }
      }
    }
    for (std::size_t i = 0; i < tris.size(); ++i) {
      const t_htriangle& t = *mesh->GetTriangle(static_cast<int>(i));
      EXPECT_EQ(where[i], PlainHolder(t, tree.GetStem())) << round << " " << i;
    }
  }
}

TEST(HOctree, BulkFilingBuildsTheSameChainsAsOneInsertionAtATime) {
  std::mt19937 rng(42);
  std::vector<Tri> tris;
  for (int i = 0; i < 2000; ++i) {
    const auto c = [&] { return static_cast<float>(static_cast<int>(rng() % 9) - 4); };
    tris.push_back({P(c(), c(), c()), P(c(), c(), c()), P(c(), c(), c())});  // mostly large: many per element
  }
  auto mesh = Mesh(tris);
  CHOctree tree(kHigh, kLow, 1.0f);
  tree.AppendEntryToOctreeElement(tree.GetStem(), 0, -7);  // lists that already hold entries
  tree.AppendEntryToOctreeElement(tree.GetStem(), 1, -7);
  tree.CalculateOctreeEntries(mesh.get(), 0);
  for (int i = 0; i < mesh->GetNumTriangles(); ++i)
    EXPECT_TRUE(tree.InsertTriangleIntoOctree(mesh->GetTriangle(i), tree.GetStem(), 1));
  for (int k = 0; k < tree.GetNumLevels(); ++k) {
    for (int i = 0; i < tree.GetNumLevelElements(k); ++i)
      EXPECT_EQ(AllEntries(&tree.GetLevel(k)[i], 0), AllEntries(&tree.GetLevel(k)[i], 1));
  }
  EXPECT_GT(AllEntries(tree.GetStem(), 0).size(), 1000u);
}

TEST(HOctree, CopiesShareTheElementsAndMayBeDestroyedInAnyOrder) {
  auto a = std::make_unique<CHOctree>(kHigh, kLow, 2.0f);
  CHOctree b(kHigh, kLow, 100.0f);
  b = *a;
  EXPECT_EQ(b.GetStem(), a->GetStem());
  a->AppendEntryToOctreeElement(a->GetStem(), 0, 3);
  a.reset();  // the copy keeps the storage alive
  EXPECT_EQ(b.GetEntryFromOctreeElement(b.GetStem(), 0, 0), 3);
  CHOctree c(b);
  b = c;  // sharing with itself through a copy
  EXPECT_EQ(c.GetEntryFromOctreeElement(c.GetStem(), 0, 0), 3);
}

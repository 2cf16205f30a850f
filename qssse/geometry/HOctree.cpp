// The triangle octree: every level allocated up front, triangles filed by their bounding boxes.
//
// Filing walks down from an element while one of its children holds the whole triangle box, trying the
// children in their fixed order; that is InsertTriangleIntoOctree's recursion written as a loop, so the
// bulk filing and the single-triangle member agree element for element. The bulk filing remembers the
// last chunk of each element it appends to, so many triangles in one element (all of them straddling
// the root's dividing planes, say) cost no walk along an ever longer chain.
#include "qssse/geometry/HOctree.h"

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <string>
#include <unordered_map>
#include <vector>

#include "qssse/mesh/HTriangulation.h"
#include "qssse/platform/AlignedMemory.h"
#include "qssse/platform/MemoryLimit.h"
#include "qssse/platform/MemoryException.h"
#include "qssse/platform/UserInterfaceManager.h"
#include "qssse/vector/SSEFns.h"
#include "qssse/vector/SimdOps.h"

namespace simd = qssse::simd;

struct CHOctree::Storage {
  std::vector<t_hoctreeelement*> blocks;
  std::vector<std::size_t> counts;

  Storage() = default;
  Storage(const Storage&) = delete;
  Storage& operator=(const Storage&) = delete;
  ~Storage() {
    for (std::size_t k = 0; k < blocks.size(); ++k) {
      for (std::size_t i = 0; i < counts[k]; ++i) {
        for (t_hoctreeentrychunk*& head : blocks[k][i].entries) {
          while (head != nullptr) {
            t_hoctreeentrychunk* next = head->next;
            std::free(head);
            head = next;
          }
        }
      }
      qssse::alignedFree(blocks[k]);
    }
  }
};

namespace {

bool ValidList(int list) { return list >= 0 && list < CHOctree::kNumLists; }

// L = min(trunc(log2(ratio) + 0.5), 99); no levels for a ratio below sqrt(2), zero, negative or NaN.
int LevelCount(float extent, float cellSize) {
  const float ratio = extent / cellSize;
  const double v = std::log(static_cast<double>(ratio)) / std::log(2.0) + 0.5;
  if (!(v >= 1.0)) return 0;  // also NaN
  return v >= 99.0 ? 99 : static_cast<int>(v);
}

// Throws CMemoryException when L complete levels exceed the machine's memory (or the int counts), without
// computing 8^L itself.
void CheckTreeFits(int levelCount) {
  std::uint64_t limit = qssse::GetMemoryLimit() / sizeof(t_hoctreeelement);
  if (limit > static_cast<std::uint64_t>(std::numeric_limits<std::int32_t>::max()))
    limit = static_cast<std::uint64_t>(std::numeric_limits<std::int32_t>::max());
  std::uint64_t total = 0, count = 1;
  for (int k = 0; k < levelCount; ++k) {
    if (count > limit - total || (k + 1 < levelCount && count > limit / 8)) {
      throw CMemoryException("out of memory: an octree of " + std::to_string(levelCount) +
                             " levels needs more elements than the limit of " +
                             std::to_string(qssse::GetMemoryLimit()) + " bytes holds");
    }
    total += count;
    count *= 8;
  }
}

// The mark a triangle filed at `level` receives.
std::int32_t MarkForLevel(int level) {
  switch (level) {
    case 1:
      return 4;
    case 2:
      return 2;
    case 3:
      return 3;
    case 11:
      return -1;
    default:
      return (level >= 4 && level <= 10) ? level + 1 : 1;
  }
}

bool BoxWithin(const t_htriangle* t, const t_hoctreeelement* e) {
  if (t->minPoint == nullptr || t->maxPoint == nullptr) return false;
  return simd::all(simd::le(e->minPoint.m, t->minPoint->m)) &&
         simd::all(simd::le(t->maxPoint->m, e->maxPoint.m));
}

// The deepest element under e that holds t's whole box, children tried in order; null when e does not.
t_hoctreeelement* DeepestHolder(const t_htriangle* t, t_hoctreeelement* e) {
  if (!BoxWithin(t, e)) return nullptr;
  for (;;) {
    t_hoctreeelement* next = nullptr;
    for (t_hoctreeelement* child : e->children) {
      if (child != nullptr && BoxWithin(t, child)) {
        next = child;
        break;
      }
    }
    if (next == nullptr) return e;
    e = next;
  }
}

t_hoctreeentrychunk* LastChunk(const t_hoctreeelement* e, int list) {
  t_hoctreeentrychunk* last = e->entries[list];
  while (last != nullptr && last->next != nullptr) last = last->next;
  return last;
}

// Stores index after `last` (the list's last chunk, null for an empty list); returns the new last chunk.
t_hoctreeentrychunk* AppendAfter(t_hoctreeelement* e, int list, t_hoctreeentrychunk* last, int index) {
  if (last != nullptr && last->count < CHOctree::kChunkEntries) {
    last->index[last->count++] = index;
    return last;
  }
  auto* chunk = static_cast<t_hoctreeentrychunk*>(std::calloc(1, sizeof(t_hoctreeentrychunk)));
  if (chunk == nullptr) AfxThrowMemoryException();
  chunk->index[0] = index;
  chunk->count = 1;
  (last != nullptr ? last->next : e->entries[list]) = chunk;
  return chunk;
}

}  // namespace

// ---- construction ---------------------------------------------------------------------------------------

CHOctree::CHOctree(const SSEPoint& high, const SSEPoint& low, float cellSizeArg)
    : root(nullptr),
      levels{},
      numElements{},
      extent(0.0f),
      numLevels(0),
      minX(low.x),
      maxX(high.x),
      minY(low.y),
      maxY(high.y),
      minZ(low.z),
      maxZ(high.z),
      cellSize(cellSizeArg),
      numBricks(0) {
  // 1. the extent and the number of levels, checked against the memory before allocating
  CSSEFns::max_of_m128(simd::sub(high.m, low.m), &extent);
  const int levelCount = LevelCount(extent, cellSize);
  CheckTreeFits(levelCount);

  // 2. the level blocks, zero-filled; a failure part way frees the blocks already made with `storage`
  try {
    storage = std::make_shared<Storage>();
    storage->blocks.reserve(static_cast<std::size_t>(levelCount));
    storage->counts.reserve(static_cast<std::size_t>(levelCount));
  } catch (const std::bad_alloc&) {
    AfxThrowMemoryException();
  }
  float half = extent * 0.5f;
  std::size_t count = 1;
  for (int k = 0; k < levelCount; ++k, count *= 8, half *= 0.5f) {
    t_hoctreeelement* block = qssse::alignedAllocArrayZeroed<t_hoctreeelement>(count);
    storage->blocks.push_back(block);
    storage->counts.push_back(count);
    for (std::size_t i = 0; i < count; ++i) {
      block[i].level = k;
      block[i].halfSize = half;
    }
    levels[k] = block;
    numElements[k] = static_cast<std::int32_t>(count);
    numBricks += static_cast<std::int32_t>(count);
  }
  numLevels = levelCount;

  // 3. the links between consecutive levels, and the positions
  for (int k = 0; k + 1 < numLevels; ++k) {
    for (int i = 0; i < numElements[k]; ++i) {
      t_hoctreeelement& e = levels[k][i];
      for (int c = 0; c < 8; ++c) {
        t_hoctreeelement* child = &levels[k + 1][8 * static_cast<std::size_t>(i) + c];
        e.children[c] = child;
        child->parent = &e;
      }
    }
  }
  if (numLevels > 0) {
    root = &levels[0][0];
    SSEPoint centre;
    centre.m = simd::mul(simd::add(high.m, low.m), simd::splat(0.5f));
    PositionReferenceOctree(root, &centre);
  }
  QsCUserInterfaceManager::ShowMessageBox(L"OctreeCreated", 0, 0);
}

CHOctree::~CHOctree() = default;

void CHOctree::PositionReferenceOctree(t_hoctreeelement* e, const SSEPoint* centre) {
  if (e == nullptr || centre == nullptr) return;
  static const float kOffset[8][3] = {{1, 1, -1}, {-1, 1, -1}, {-1, -1, -1}, {1, -1, -1},
                                      {1, 1, 1},  {-1, 1, 1},  {-1, -1, 1},  {1, -1, 1}};
  const float h = e->halfSize;
  e->center = *centre;
  e->maxPoint.m = simd::add(centre->m, simd::splat(h));
  e->minPoint.m = simd::sub(centre->m, simd::splat(h));
  const __m128 quarter = simd::splat(h * 0.5f);
  for (int c = 0; c < 8; ++c) {
    if (e->children[c] == nullptr) continue;
    SSEPoint childCentre;
    childCentre.m = simd::add(
        centre->m, simd::mul(simd::lanes(kOffset[c][0], kOffset[c][1], kOffset[c][2], 0.0f), quarter));
    PositionReferenceOctree(e->children[c], &childCentre);
  }
}

// ---- filing ---------------------------------------------------------------------------------------------

void CHOctree::CalculateOctreeEntries(CHTriangulation* mesh, int list) {
  if (mesh == nullptr || root == nullptr || !ValidList(list)) return;
  // The last chunk of every element appended to; neighbouring triangles of a mesh mostly share an
  // element, so the latest one is looked at first.
  std::unordered_map<t_hoctreeelement*, t_hoctreeentrychunk*> lastChunk;
  t_hoctreeelement* recent = nullptr;
  t_hoctreeentrychunk** recentLast = nullptr;
  for (int i = 0; i < mesh->GetNumTriangles(); ++i) {
    t_htriangle* t = mesh->GetTriangle(i);
    t_hoctreeelement* e = DeepestHolder(t, root);
    if (e == nullptr) continue;
    if (e != recent) {
      const auto [it, first] = lastChunk.try_emplace(e, nullptr);
      if (first) it->second = LastChunk(e, list);
      recent = e;
      recentLast = &it->second;  // map nodes stay where they are
    }
    *recentLast = AppendAfter(e, list, *recentLast, t->index);
    t->mark = MarkForLevel(e->level);
  }
}

bool CHOctree::InsertTriangleIntoOctree(t_htriangle* t, t_hoctreeelement* e, int list) {
  if (t == nullptr || e == nullptr || !ValidList(list)) return false;
  t_hoctreeelement* holder = DeepestHolder(t, e);
  if (holder == nullptr) return false;
  InsertTriangleIntoOctreeElement(t, holder, list);
  return true;
}

void CHOctree::InsertTriangleIntoOctreeElement(t_htriangle* t, t_hoctreeelement* e, int list) {
  if (t == nullptr || e == nullptr || !ValidList(list)) return;
  AppendEntryToOctreeElement(e, list, t->index);
  t->mark = MarkForLevel(e->level);
}

// ---- entry lists ----------------------------------------------------------------------------------------

void CHOctree::AppendEntryToOctreeElement(t_hoctreeelement* e, int list, int index) {
  if (e == nullptr || !ValidList(list)) return;
  AppendAfter(e, list, LastChunk(e, list), index);
}

int CHOctree::GetEntryFromOctreeElement(t_hoctreeelement* e, int list, int i) {
  if (e == nullptr || !ValidList(list) || i < 0) return -1;
  const t_hoctreeentrychunk* first = e->entries[list];
  if (first == nullptr) return -1;
  // Deliberately i / 10 although a chunk holds nine: any later chunk answers -1.
  if (i / 10 > 0) return -1;
  return i < first->count ? first->index[i] : -1;
}

void CHOctree::RemoveAllEntriesFromOctreeElement(t_hoctreeelement* e) {
  if (e == nullptr) return;
  for (t_hoctreeentrychunk*& head : e->entries) {
    while (head != nullptr) {
      t_hoctreeentrychunk* next = head->next;
      std::free(head);
      head = next;
    }
  }
}

void CHOctree::ClearEntry(t_hoctreeelement& e) {
  RemoveAllEntriesFromOctreeElement(&e);
  std::memset(static_cast<void*>(&e), 0, sizeof e);
}

// ---- the collector --------------------------------------------------------------------------------------

void CHOctree::FindMinMaxPointTriangulation(CHTriangulation* mesh, SSEPoint& maxAcc, SSEPoint& minAcc,
                                            t_hoctreeelement* e, int list) {
  if (mesh == nullptr || e == nullptr) return;
  for (t_hoctreeelement* child : e->children) {
    if (child != nullptr) FindMinMaxPointTriangulation(mesh, maxAcc, minAcc, child, list);
  }
  for (int i = 0; i < kChunkEntries; ++i) {
    const int index = GetEntryFromOctreeElement(e, list, i);
    if (index == -1) break;
    const t_htriangle* t = mesh->GetTriangle(index);
    if (t == nullptr) continue;
    maxAcc.m = simd::max(maxAcc.m, t->maxPoint->m);
    // Deliberately against the new maximum, not the running minimum: minAcc ends as the last box minimum.
    minAcc.m = simd::min(maxAcc.m, t->minPoint->m);
  }
}

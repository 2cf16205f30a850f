// The border of a mesh: triangles with a missing neighbour, their border edges as stretches.
#include "qssse/mesh/HTriangulation.h"

void CHTriangulation::FindBorderTriangles() {
  for (int i = 0; i < numTriangles; ++i) {
    const t_htriangle& t = triangles[i];
    if (t.neighbour[0] == nullptr || t.neighbour[1] == nullptr || t.neighbour[2] == nullptr) {
      triangles[i].mark = 13;
    }
  }
}

void CHTriangulation::AppendStretchToList(t_stretch* s) {
  if (s == nullptr) return;
  s->prev = nullptr;
  s->next = stretchList;
  if (stretchList != nullptr) stretchList->prev = s;
  stretchList = s;
}

void CHTriangulation::DeleteStretchFromList(t_stretch* s) {
  if (s == nullptr) return;
  if (s->prev == nullptr) {
    stretchList = s->next;
  } else {
    s->prev->next = s->next;
  }
  if (s->next != nullptr) s->next->prev = s->prev;
  delete s;
}

void CHTriangulation::ClearStretchList() {
  while (stretchList != nullptr) DeleteStretchFromList(stretchList);
}

int CHTriangulation::CollectBorderStretches() {
  int count = 0;
  for (int i = 0; i < numTriangles; ++i) {
    const t_htriangle& t = triangles[i];
    int from;
    if (t.neighbour[0] == nullptr) {
      from = 0;
    } else if (t.neighbour[1] == nullptr) {
      from = 1;
    } else if (t.neighbour[2] == nullptr) {
      from = 2;
    } else {
      continue;
    }
    AppendStretchToList(new t_stretch{t.point[from], t.point[(from + 1) % 3], nullptr, nullptr});
    ++count;
  }
  return count;
}

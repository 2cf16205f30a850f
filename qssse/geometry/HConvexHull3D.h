#pragma once
#include <cstdint>
#include <functional>
#include <memory>

#include "qssse/platform/Export.h"
#include "qssse/vector/SSEPoint.h"

struct tEdgeStructure;
struct tFaceStructure;
struct tConflictBlock;

// The three lists of the hull are circular and doubly linked; a new element goes in just before the
// head, i.e. at the end. Elements come zero-filled from the hull's own pools.

struct tVertexStructure {
  std::int64_t x, y, z;         // the scaled, rounded coordinates
  int vnum;                     // the caller's index of the point
  tEdgeStructure* duplicate;    // the cone edge made from this vertex during the current insertion
  tVertexStructure* next;
  tVertexStructure* prev;
  bool onhull;
  bool mark;                    // processed
  bool flag;                    // the caller's flag of AppendVertex2D (false for AppendVertex3D)
  int slot;                     // the point's entry in the conflict-list construction's face table
  tFaceStructure* face;         // a face at this vertex (the fast construction's walks start there)
};

struct tEdgeStructure {
  tFaceStructure* adjface[2];
  tVertexStructure* endpts[2];
  tFaceStructure* newface;      // the cone face made on this edge during the current insertion
  tEdgeStructure* next;
  tEdgeStructure* prev;
  bool deleted;                 // both adjacent faces are visible from the new point
  std::uint64_t order;          // creation number: the edge list is always in ascending order from its head
};

struct tFaceStructure {
  tEdgeStructure* edge[3];
  tVertexStructure* vertex[3];  // counter-clockwise seen from outside
  tFaceStructure* prev;
  tFaceStructure* next;
  bool visible;                 // visible from the point being inserted
  bool lower;                   // CH2DDelaunay: a lower face of the lifted hull
  bool alive;                   // in the face list (false once deleted)
  std::uint64_t stamp;          // insertion that last tested this face (conflict-list construction)
  tConflictBlock* conflicts;    // unprocessed points filed with this face (conflict-list construction)
};

// Convex hull of a 3-D point set by the incremental algorithm, on 64-bit integers: the float input is
// scaled and rounded on append, and the two predicates (volume sign, collinearity) are exact, without
// tolerance. The result is a boundary representation: vertex, edge and face lists, every face a
// triangle counter-clockwise seen from outside. Coplanar neighbouring faces are kept as separate
// triangles. A point on the surface of the hull built so far is dropped when it is inserted, but a
// vertex that a later point leaves on the surface (in the plane of new faces) stays a vertex.
//
// Exactness has a range: the volume products grow with the product of the three coordinate spreads.
// CalcConvexHull accepts the input exactly when, with D = maximum minus minimum of the rounded
// coordinates per axis, 2·Dx·Dy·Dz and the three pairwise products Dx·Dy, Dy·Dz, Dx·Dz stay at most
// 2^63 - 1 (every volume of the construction is then bounded by 2·Dx·Dy·Dz: a tetrahedron in a box
// fills at most a third of it). So integer coordinates anywhere in [0, 2^20) always fit, and so do 2-D
// appends spanning up to 2^14 scaled units (the lift to 2^29). Other input is refused with
// CHullException(range) before anything is built.
//
// Copies share the lists (the heads are copied, not the elements); the elements live until the last
// copy is gone. The class has no virtual destructor: destroy a derived hull as itself.
class QSSSE_API CHConvexHull3D {
 public:
  CHConvexHull3D();  // empty lists, flags and counts cleared
  CHConvexHull3D(const CHConvexHull3D& other);
  CHConvexHull3D& operator=(const CHConvexHull3D& other);
  ~CHConvexHull3D();

  // Planar point lifted to the paraboloid: X = trunc(x·10 + 0.5), Y = trunc(y·10 + 0.5) (single
  // precision, truncation toward zero, so -0.26 gives -2), Z = X² + Y². A point whose X, Y, Z equal a
  // vertex already in the list is ignored; otherwise it is appended with vnum = index (the appended
  // count when index is -1) and the flag, and the appended count grows by one. A non-finite value or
  // |X| or |Y| of 2^31 or more throws CHullException(range) and appends nothing.
  void AppendVertex2D(float x, float y, int index, bool flag);
  // X, Y, Z = trunc(coordinate·scale + 0.5) (single precision); exact duplicates ignored; vnum 0, flag
  // false. A non-finite scaled value or one of magnitude 2^62 or more throws CHullException(range).
  void AppendVertex3D(float x, float y, float z, float scale);

  // Builds the hull of the appended points (DoubleTriangle, the insertion of every other point,
  // EdgeOrderOnFaces), then counts faces, edges and hull vertices and sets the appended count to the
  // vertex count. Throws CHullException(range) for coordinates beyond the exact range (see above,
  // nothing changed), CHullException(collinear) when no three points span a triangle and
  // CHullException(coplanar) when all lie in one plane; both leave the appended vertices as they were
  // and no face or edge. Points appended after a hull was built are inserted into it by the next call.
  void CalcConvexHull();

  int GetNumFaces() const { return numFaces; }
  int GetNumEdges() const { return numEdges; }
  int GetNumVertices() const { return numVertices; }
  int GetNumAppended() const { return numAppended; }
  // The list heads (null when empty); each list is circular through next.
  tVertexStructure* GetVertices() const { return vertices; }
  tEdgeStructure* GetEdges() const { return edges; }
  tFaceStructure* GetFaces() const { return faces; }

  // Vertex i (0..2) of f as floats (X, Y, Z, 0) / 10, the inverse of the 2-D append's scaling: z comes
  // back as (X² + Y²) / 10. An index outside 0..2 or a null face gives the zero point.
  SSEPoint GetVertexFromFace(tFaceStructure* f, int i);
  // The same divided lane by lane by scale.x, scale.y, scale.z; w is 0.
  SSEPoint GetVertexFromFace3D(tFaceStructure* f, int i, SSEPoint& scale);

  // With the check flag set, the consistency checks run after every insertion; with the debug flag
  // set, failed checks are described on standard error.
  void SetCheck(bool on) { check = on; }
  void SetDebug(bool on) { debug = on; }

  // Sign of the volume of the tetrahedron (f's vertices 0, 1, 2, p), differences taken from p, in
  // 64-bit integers: 1, -1 or 0. f is visible from p when it is -1.
  virtual int VolumeSign(tFaceStructure* f, tVertexStructure* p);
  // The library's volume sign of the face a, b, c (x, y, z each) seen from (px, py, pz): the rule of
  // VolumeSign, differences taken from p.
  static int VolumeSignOf(const std::int64_t* a, const std::int64_t* b, const std::int64_t* c, std::int64_t px,
                          std::int64_t py, std::int64_t pz) {
    const std::int64_t ax = a[0] - px, ay = a[1] - py, az = a[2] - pz;
    const std::int64_t bx = b[0] - px, by = b[1] - py, bz = b[2] - pz;
    const std::int64_t cx = c[0] - px, cy = c[1] - py, cz = c[2] - pz;
    const std::int64_t vol = ax * (by * cz - bz * cy) + ay * (bz * cx - bx * cz) + az * (bx * cy - by * cx);
    return (vol > 0) - (vol < 0);
  }
  // True when (b - a) x (c - a) is zero, tested component by component (z-y, x-z, y-x).
  virtual bool Collinear(tVertexStructure* a, tVertexStructure* b, tVertexStructure* c);

 protected:
  // ---- lists (HConvexHull3DLists.cpp) ----
  tVertexStructure* MakeNullVertex();  // a zeroed vertex at the end of the list
  tEdgeStructure* MakeNullEdge();      // a zeroed edge at the end of the list, numbered
  tFaceStructure* MakeNullFace();      // a zeroed face at the end of the list
  tVertexStructure* NewVertex();       // a zeroed vertex in no list
  void FreeVertex(tVertexStructure* v);
  void AddVertex(tVertexStructure* v);
  void DeleteVertex(tVertexStructure* v);  // unlinks and frees; the head moves on when v is the head
  void AddEdge(tEdgeStructure* e);
  void DeleteEdge(tEdgeStructure* e);
  void AddFace(tFaceStructure* f);
  void DeleteFace(tFaceStructure* f);
  static void SubVec(const std::int64_t a[4], const std::int64_t b[4], std::int64_t c[4]);  // c = a - b
  // Every face in the list, in the order of their storage rather than the list's: a pass whose result
  // does not depend on the order reads the memory in sequence instead of hopping through the list.
  void ForEachFaceInMemory(const std::function<void(tFaceStructure*)>& visit);

  // ---- construction (HConvexHull3DBuild.cpp): the plain incremental algorithm ----
  // A face (a, b, c) on three new edges, or on fold's edges in reverse order; each edge's first adjacent
  // face becomes the new face.
  tFaceStructure* MakeFace(tVertexStructure* a, tVertexStructure* b, tVertexStructure* c, tFaceStructure* fold);
  // The two faces of the first non-collinear triple, then the first vertex off their plane becomes the
  // list head. Throws CHullException(collinear / coplanar), undoing what it made.
  void DoubleTriangle();
  // Inserts every unprocessed vertex, walking the list from its head: AddOne scanning every face, then
  // the three clean-ups (and Checks with the check flag). Quadratic; the result of ConstructHullFast.
  void ConstructHull();
  // Marks the faces visible from p; none: p is inside (onhull cleared), false. Otherwise marks the edges
  // between two visible faces for deletion and builds a cone face on every horizon edge, in list order.
  bool AddOne(tVertexStructure* p);
  tFaceStructure* MakeConeFace(tEdgeStructure* e, tVertexStructure* p);
  // Orients f along e as the visible face that it replaces.
  void MakeCcw(tFaceStructure* f, tEdgeStructure* e, tVertexStructure* p);
  void CleanUp(tVertexStructure** pvnext);
  void CleanEdges();
  void CleanFaces();
  void CleanVertices(tVertexStructure** pvnext);

  // ---- construction with conflict lists (HConvexHull3DFast.cpp) ----
  // The same walk as ConstructHull with the same result (lists, their order, the vertex order of every
  // face), but an insertion visits only the visible region and its border, starting from one face the
  // point sees: every unprocessed point keeps such a face (conflict lists), or, with liftedInput set,
  // the face is found by walking the lower faces in x-y from a face made near the point. Horizon edges
  // are coned in edge-list order, as ConstructHull does.
  void ConstructHullFast();

  // ---- checks (HConvexHull3DChecks.cpp) ----
  // Each returns true when its invariant holds; with the debug flag a failure is described on stderr.
  bool Checks();
  bool Consistency();  // every edge's endpoints run in opposite directions in its two faces
  bool Convexity();    // no processed vertex sees a face
  bool CheckEndpts();  // every face's edges join its own vertices
  // Puts into position i of every face the edge joining vertex i and vertex (i + 1) mod 3.
  void EdgeOrderOnFaces();
  // The lengths of the three lists (kept by the list operations rather than counted by a walk).
  int CalcNumFaces();
  int CalcNumEdges();
  int CalcNumVertices();

  // Throws CHullException(range) unless the spread of the vertex coordinates keeps every volume
  // product within 64 bits (see the class comment).
  void CheckRange();
  // Runs DoubleTriangle unless faces exist, then build (ConstructHull or ConstructHullFast), then
  // EdgeOrderOnFaces and the counts. Shared by the hull and the Delaunay triangulation.
  void BuildHull(void (CHConvexHull3D::*build)());
  void CountAll();

  tVertexStructure* vertices;
  tEdgeStructure* edges;
  tFaceStructure* faces;
  bool debug;
  bool check;
  int numFaces;
  int numEdges;
  int numVertices;
  int numAppended;
  // Set by CH2DDelaunay: the points lie on the paraboloid, where a walk in x-y finds a visible face
  // faster than conflict lists. Only a speed hint: a walk that finds none falls back to a scan.
  bool liftedInput = false;

 private:
  struct Storage;
  struct Scratch;
  // Appends (X, Y, Z) unless it is already in the list; returns the new vertex or null.
  tVertexStructure* AppendUnique(std::int64_t x, std::int64_t y, std::int64_t z);
  // The fast construction's steps: file every unprocessed point with a face it sees, and insert one
  // point through its filed face.
  void FileConflicts(Scratch& s);
  tFaceStructure* LocateByWalk(tVertexStructure* p, Scratch& s);
  void InsertFast(tVertexStructure* p, tFaceStructure* start, tVertexStructure** pvnext, Scratch& s);
  // Whether VolumeSign is the library's own (not replaced by a derived class), so that the conflict
  // lists may evaluate it on coordinates they keep.
  bool OwnVolumeSign() const;

  std::shared_ptr<Storage> storage;
  std::uint64_t insertion = 0;  // numbers the fast insertions, for the faces' stamps
};

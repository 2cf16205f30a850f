#include <gtest/gtest.h>

#include "qssse/platform/DmHermiteSpline.h"
#include "qssse/platform/DmPolyLineOld.h"
#include "qssse/platform/Matrix4Rf.h"
#include "qssse/platform/Vector2f.h"
#include "qssse/platform/Vector3f.h"

TEST(PolyLineStandIn, WalksBothWaysAndStopsAtTheEnds) {
  DmPolyLineOld line;
  EXPECT_EQ(line.IsOpen(), 1);
  EXPECT_FALSE(line.GetVertexHead().IsValid());
  EXPECT_FALSE(line.GetVertexTail().IsValid());
  for (int i = 0; i < 3; ++i) line.AppendVertexTail(CbVector3f(static_cast<float>(i), 0, 0));
  DmPolyVertexOld v = line.GetVertexHead();
  EXPECT_EQ(line.GetPosition(line.GetVertexAfter(v)).x, 1.0f);
  EXPECT_FALSE(line.GetVertexBefore(v).IsValid());
  EXPECT_FALSE(line.GetVertexAfter(line.GetVertexTail()).IsValid());
  EXPECT_EQ(line.GetPosition(line.GetVertexBefore(line.GetVertexTail())).x, 1.0f);
  EXPECT_EQ(line.GetPosition(DmPolyVertexOld{17}), CbVector3f());
  line.SetClosed(true);
  EXPECT_EQ(line.IsOpen(), 0);
}

TEST(PolyLineStandIn, AreaAboutAnAxisIsSignedByOrientation) {
  DmPolyLineOld ccw;
  for (auto p : {CbVector3f(0, 0, 5), CbVector3f(2, 0, 5), CbVector3f(2, 3, 5), CbVector3f(0, 3, 5)})
    ccw.AppendVertexTail(p);
  EXPECT_EQ(ccw.ComputeArea(CbVector3f(0, 0, 1)), 6.0f);
  EXPECT_EQ(ccw.ComputeArea(CbVector3f(0, 0, -1)), -6.0f);
  EXPECT_EQ(ccw.ComputeArea(CbVector3f(1, 0, 0)), 0.0f);
  DmPolyLineOld two;
  two.AppendVertexTail(CbVector3f(1, 1, 1));
  two.AppendVertexTail(CbVector3f(2, 2, 2));
  EXPECT_EQ(two.ComputeArea(CbVector3f(0, 0, 1)), 0.0f);
}

TEST(HermiteSplineStandIn, PassesThroughControlPointsAndSubdividesByLength) {
  DmHermiteSpline s;
  s.AppendControlPoint(CbVector3f(0, 0, 0));
  s.AppendControlPoint(CbVector3f(4, 0, 0));
  s.AppendControlPoint(CbVector3f(8, 0, 0));
  EXPECT_EQ(s.Evaluate(0, 0.0f), CbVector3f(0, 0, 0));
  EXPECT_EQ(s.Evaluate(1, 1.0f), CbVector3f(8, 0, 0));
  EXPECT_EQ(s.Evaluate(0, 0.5f), CbVector3f(2, 0, 0));  // evenly spaced points: a straight, even curve
  s.SubdivideByLength(1.0f);
  DmPolyLineOld* sub = s.GetSubdivision();
  EXPECT_EQ(sub->GetRefCount(), 2);  // the spline's own reference and ours
  EXPECT_EQ(sub->GetNumVertices(), 4 + 4 + 1);
  EXPECT_EQ(sub->IsOpen(), 1);
  EXPECT_EQ(sub->GetPosition(sub->GetVertexTail()), CbVector3f(8, 0, 0));
  sub->Release();
  s.SetClosed(true);
  s.SubdivideByLength(-1.0f);  // one step per segment, closing segment included
  sub = s.GetSubdivision();
  EXPECT_EQ(sub->GetNumVertices(), 3);
  EXPECT_EQ(sub->IsOpen(), 0);
  sub->Release();
}

TEST(VectorStandIns, ArithmeticAndMatrixTransforms) {
  const CbVector3f a(1, 2, 3), b(4, 5, 6);
  EXPECT_EQ(a.Dot(b), 32.0f);
  EXPECT_EQ(a.Cross(b), CbVector3f(-3, 6, -3));
  EXPECT_EQ(CbVector3f(3, 4, 0).Length(), 5.0f);
  EXPECT_EQ(CbVector2f(1, 0).Cross(CbVector2f(0, 1)), 1.0f);
  CbMatrix4Rf rz;  // quarter turn about z, then a shift
  rz(0, 0) = 0;
  rz(0, 1) = -1;
  rz(1, 0) = 1;
  rz(1, 1) = 0;
  const CbMatrix4Rf m = CbMatrix4Rf::Translation(10, 0, 0) * rz;
  EXPECT_EQ(m.TransformPoint(CbVector3f(1, 0, 7)), CbVector3f(10, 1, 7));
  EXPECT_EQ(m.TransformVector(CbVector3f(1, 0, 7)), CbVector3f(0, 1, 7));
  EXPECT_EQ(CbMatrix4Rf::Identity().TransformPoint(a), a);
}

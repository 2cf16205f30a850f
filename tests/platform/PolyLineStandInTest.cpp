#include <gtest/gtest.h>

#include "qssse/platform/DmHermiteSpline.h"
#include "qssse/platform/DmPolyLineOld.h"
#include "qssse/platform/Matrix4Rf.h"

TEST(PolyLineStandIn, WalksStopAtTheEndsAndAreaIsSigned) {
  DmPolyLineOld line;
  EXPECT_EQ(line.IsOpen(), 1);
  EXPECT_FALSE(line.GetVertexTail().IsValid());
  for (auto p : {CbVector3f(0, 0, 5), CbVector3f(2, 0, 5), CbVector3f(2, 3, 5), CbVector3f(0, 3, 5)})
    line.AppendVertexTail(p);
  EXPECT_EQ(line.GetPosition(line.GetVertexAfter(line.GetVertexHead())), CbVector3f(2, 0, 5));
  EXPECT_FALSE(line.GetVertexBefore(line.GetVertexHead()).IsValid());
  EXPECT_FALSE(line.GetVertexAfter(line.GetVertexTail()).IsValid());
  EXPECT_EQ(line.GetPosition(DmPolyVertexOld{17}), CbVector3f());
  EXPECT_EQ(line.ComputeArea(CbVector3f(0, 0, 1)), 6.0f);
  EXPECT_EQ(line.ComputeArea(CbVector3f(0, 0, -1)), -6.0f);
}

TEST(HermiteSplineStandIn, SubdivisionIsASharedPolylineThroughTheControlPoints) {
  DmHermiteSpline s;
  for (float x : {0.0f, 4.0f, 8.0f}) s.AppendControlPoint(CbVector3f(x, 0, 0));
  EXPECT_EQ(s.Evaluate(0, 0.5f), CbVector3f(2, 0, 0));  // even control points: an even straight curve
  s.SubdivideByLength(1.0f);
  DmPolyLineOld* sub = s.GetSubdivision();
  EXPECT_EQ(sub->GetRefCount(), 2);  // the spline's reference and ours
  EXPECT_EQ(sub->GetNumVertices(), 4 + 4 + 1);
  EXPECT_EQ(sub->GetPosition(sub->GetVertexTail()), CbVector3f(8, 0, 0));
  sub->Release();
  s.SetClosed(true);
  s.SubdivideByLength(-1.0f);  // one step per segment, the closing one included
  EXPECT_EQ(sub->GetNumVertices(), 3);
  EXPECT_EQ(sub->IsOpen(), 0);
}

TEST(VectorStandIns, MatrixActsOnColumnVectorsWithTranslationInColumnThree) {
  EXPECT_EQ(CbVector3f(1, 2, 3).Cross(CbVector3f(4, 5, 6)), CbVector3f(-3, 6, -3));
  CbMatrix4Rf quarter;  // a quarter turn about z
  quarter(0, 0) = quarter(1, 1) = 0;
  quarter(0, 1) = -1;
  quarter(1, 0) = 1;
  const CbMatrix4Rf m = CbMatrix4Rf::Translation(10, 0, 0) * quarter;
  EXPECT_EQ(m.TransformPoint(CbVector3f(1, 0, 7)), CbVector3f(10, 1, 7));
  EXPECT_EQ(m.TransformVector(CbVector3f(1, 0, 7)), CbVector3f(0, 1, 7));
}

// A program outside the library's build: it finds the installed package and uses the public headers.
#include <cstdio>

#include <qssse/qssse.h>

int main() {
  CSSEMatrix m;
  m.Create(5, 5);  // small enough for the pixel-by-pixel range scan
  m.Set3x3BoxPoint(0, 0, 2.0f);
  float maxValue = 0.0f, minValue = 0.0f;
  m.CalcMinMaxValues(&maxValue, &minValue);
  const SSEPoint a = qssse::MakeSSEPoint(1, 2, 3), b = qssse::MakeSSEPoint(4, 5, 6);
  const bool ok = m.GetPoint(2, 2) == 2.0f && maxValue == 2.0f && CSSEFns::scalarproduct(a.m, b.m) == 32.0f;
  std::printf(ok ? "consumer ok\n" : "consumer FAILED\n");
  return ok ? 0 : 1;
}

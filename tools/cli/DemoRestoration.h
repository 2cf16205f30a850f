#pragma once
#include <functional>
#include <string>

#include "cli/Summary.h"

class CHTriangulation;

// The demo's restoration analysis of the finished crown mesh (millimetres, margin at z 0).
namespace qssse::tool {

// Steps it reports: restoration octree, footprint hull, bottom meshes, restoration in a blank.
constexpr int kRestorationDemoSteps = 4;

// Works on a copy: the crown mesh is left as it was. Writes footprint.svg through out(name).
void RunRestorationDemo(CHTriangulation& crown, Summary& s,
                        const std::function<std::string(const std::string&)>& out);

}  // namespace qssse::tool

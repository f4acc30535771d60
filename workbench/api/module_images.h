// The module belongs to one thread and keeps state for all its analyses, so runs that exist side by
// side each need an image of it: the first uses the module's file, the others copies in memory. An
// image that a run returns serves the next one.
//
//   const ModuleImage image(FindModule(""));
//   options.modulePath = image.Path();   // to be loaded while image lives
#pragma once

#include <string>

namespace velmora {

class ModuleImage {
 public:
  // Throws RunError when a copy is needed and cannot be made.
  explicit ModuleImage(const std::string& modulePath);
  ~ModuleImage();
  ModuleImage(const ModuleImage&) = delete;
  ModuleImage& operator=(const ModuleImage&) = delete;

  const std::string& Path() const { return path_; }

 private:
  std::string modulePath_, path_;
};

}  // namespace velmora

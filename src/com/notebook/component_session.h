// The program as the host of the component that is registered with the system.
//
// This room holds what makes the notebook a host in COM: its objects as COM objects
// (notebook_objects, database_objects, framework_objects over object_shell) and, here, where its
// listeners come from.
#pragma once

namespace ktcom {

// While it lives, the notebook's listeners are the component's COM objects, created by program
// identifier. One at a time, in the program's main thread; whatever holds a listener goes first.
class ComponentSession {
 public:
  ComponentSession();
  ComponentSession(const ComponentSession&) = delete;
  ComponentSession& operator=(const ComponentSession&) = delete;
  ~ComponentSession();
};

}  // namespace ktcom

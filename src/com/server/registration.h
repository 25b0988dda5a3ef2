// What the system's registry knows of the component: classes, type libraries and interfaces.
//
// This room holds what makes the component a DLL: registration, class factories and, in dll.cpp,
// the entry points.
#pragma once

namespace ktcom {

enum class RegistrationScope { kMachine, kUser };

// The whole machine for a process that may write there, else the present user.
RegistrationScope UsualScope() noexcept;

// Registers everything, or raises an error and leaves nothing behind.
void Register(RegistrationScope scope);

// Removes every key that Register makes; for the machine, the present user's as well. Keys that a
// component of the other word size shares stay as long as that one is registered.
void Unregister(RegistrationScope scope);

}  // namespace ktcom

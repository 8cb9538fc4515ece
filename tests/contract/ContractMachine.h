// The machine that the contract is checked on: a disk that is there, with an interface and a driver, and one
// that is not. Described once more in disk.reg, from which a real Windows learns of it.
#pragma once

#include <string>

/// Makes the machine so: in the simulation by filling it, on Windows by importing the file disk.reg, which
/// lies beside the program, into the registry. Gives what went wrong, or an empty text.
std::string prepareContractMachine();

/// Windows: imports a file that lies beside the program into the registry; what went wrong, or an empty text.
std::string importBesideProgram(const char* file);

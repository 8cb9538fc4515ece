#include "tools/sysmira/devices/Problems.h"

#include <iterator>

namespace sysmira {

namespace {

constexpr const char* meanings[] = {
    "no problem",
    /*1*/ "the device is not configured: its driver settings are missing or incomplete",
    /*2*/ "the loader for its bus failed",
    /*3*/ "not enough memory, or its driver is damaged",
    /*4*/ "its registry entry has the wrong type",
    /*5*/ "no arbiter for a resource that it needs",
    /*6*/ "its boot configuration conflicts with another device's",
    /*7*/ "a filter of its driver failed",
    /*8*/ "the loader for its driver was not found",
    /*9*/ "its firmware or configuration data is invalid",
    /*10*/ "the device cannot start",
    /*11*/ "the device failed although it reported success",
    /*12*/ "not enough free resources: another device uses them",
    /*13*/ "its resources could not be verified",
    /*14*/ "the computer must be restarted before it works",
    /*15*/ "looking for the device again raised a conflict",
    /*16*/ "not all of its resources could be identified",
    /*17*/ "it asks for an unknown type of resource",
    /*18*/ "its drivers must be reinstalled",
    /*19*/ "its registry settings are incomplete or damaged",
    /*20*/ "its driver loader for old drivers failed",
    /*21*/ "Windows is removing the device",
    /*22*/ "the device is disabled",
    /*23*/ "the loader for its driver is not ready",
    /*24*/ "the device is not there, does not work properly or lacks a driver",
    /*25*/ "the device was moved",
    /*26*/ "it was asked to start too early",
    /*27*/ "it has no valid configuration of resources",
    /*28*/ "no driver is installed",
    /*29*/ "the device is disabled by its firmware",
    /*30*/ "its interrupt cannot be shared",
    /*31*/ "Windows cannot load the drivers that it needs",
    /*32*/ "the service of its driver is disabled",
    /*33*/ "Windows cannot determine the resources that it needs",
    /*34*/ "its resources must be set by hand",
    /*35*/ "the firmware's table lacks what it needs",
    /*36*/ "the translation of its interrupt failed",
    /*37*/ "its driver failed to initialise",
    /*38*/ "an earlier instance of its driver is still loaded",
    /*39*/ "its driver cannot be loaded: damaged or missing",
    /*40*/ "the service key of its driver is invalid",
    /*41*/ "the driver is loaded but cannot find its device",
    /*42*/ "a device of the same identity runs already",
    /*43*/ "the device was stopped after it reported problems",
    /*44*/ "a program or service has shut the device down",
    /*45*/ "the device is not connected",
    /*46*/ "it cannot be reached: Windows is shutting down",
    /*47*/ "it is ready to be removed",
    /*48*/ "its driver is blocked: it is known to harm Windows",
    /*49*/ "the registry is too large",
    /*50*/ "its properties cannot be set",
    /*51*/ "it waits for another device",
    /*52*/ "its driver is not digitally signed",
    /*53*/ "the kernel debugger uses the device",
    /*54*/ "the device failed and is being reset",
    /*55*/ "it stays blocked while the console is locked",
    /*56*/ "its class has not been configured yet",
    /*57*/ "it could not be assigned to a guest system",
};
static_assert(std::size(meanings) == 58);

}  // namespace

const char* problemMeaning(unsigned problem) {
    return problem < std::size(meanings) ? meanings[problem] : "unknown problem";
}

}  // namespace sysmira

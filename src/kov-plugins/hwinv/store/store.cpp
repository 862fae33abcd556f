#include "store/store.hpp"

Mutex smbiosPCIeSlotObjsMutex;
ObjectMap smbiosPCIeSlotObjs{smbiosPCIeSlotObjsMutex};

Mutex kovdPCIeSlotObjsMutex;
ObjectMap kovdPCIeSlotObjs{kovdPCIeSlotObjsMutex};

Mutex kovdPCIeDeviceObjsMutex;
ObjectMap kovdPCIeDeviceObjs{kovdPCIeDeviceObjsMutex};

Mutex kovdChassisPathSlotObjsMutex;
ObjectMap kovdChassisPathSlotObjs{kovdChassisPathSlotObjsMutex};

Mutex smbiosCPUObjsMutex;
ObjectMap smbiosCPUObjs{smbiosCPUObjsMutex};

Mutex smbiosCacheObjsMutex;
ObjectMap smbiosCacheObjs{smbiosCacheObjsMutex};

Mutex kovdCPUObjsMutex;
ObjectMap kovdCPUObjs{kovdCPUObjsMutex};

Mutex CPUKOVDAssocTuplesMutex;
AssociationLists CPUKOVDAssocTuples;

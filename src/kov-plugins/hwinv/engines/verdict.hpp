/*
 * What a rule of matching answers: yes, or the first condition that does not hold.
 *
 * A verdict is one byte and converts to bool, so a caller that needs only the answer pays nothing
 * for the reason. The values that a condition compares are in the property maps that were compared.
 * Values only; no lock.
 */
#pragma once

#include <cstdint>

/** The conditions, in the order in which the rules test them. */
enum class Condition : std::uint8_t
{
    none, // all hold: a match

    // Any pair of objects
    kindsComparable,    // there is a rule for the two kinds of object
    propertiesPresent,  // every property that the rule reads is there
    textsNotEmpty,      // neither text that the rule compares is empty
    propertiesReadable, // every property has its type, every number fits; else it was logged
    threeTokens,        // the descriptor has at least three tokens

    // A slot
    slotIdEqual,      // SlotID = PCIeLocatorInstanceNum
    locatorTypeKnown, // PCIeLocatorType is 6 (slot) or 9 (drive bay)
    noBayNamed,       // a slot's or device's designation says nothing of a bay
    secondTokenSlot,  // the descriptor's second token is SLOT, in any case
    slotNumberRead,   // the descriptor's third token begins with a number
    slotNumberNamed,  // designation or descriptor names a slot number
    slotNumberEqual,  // the two slot numbers are equal
    slotNamed,        // the designation contains SLOT
    deviceNamed,      // the designation contains the device type or PCIe, or it is a placeholder

    // A drive bay
    bayNamed,    // the designation says BAY
    bayRead,     // designation and descriptor each name slot and bay
    bayNumbered, // with a number for each
    diskEqual,   // the designation's slot = the descriptor's disk
    bayEqual,    // the designation's bay = the descriptor's enclosure

    // A processor
    socketIsNumber, // Socket = "CPU" and SlotNumber
    socketIsKey,    // Socket = "CPU" and the third token of TargetDevKey

    // A cache
    handleNotZero, // the cache has a handle
    handleEqual,   // one of the processor's three handles is the cache's
};

class Verdict
{
  public:
    /** The first condition that does not hold. Implicit: a rule returns the condition. */
    constexpr Verdict(Condition failed) : failed_(failed) {}

    constexpr operator bool() const
    {
        return failed_ == Condition::none;
    }

    constexpr Condition failed() const
    {
        return failed_;
    }

  private:
    Condition failed_;
};

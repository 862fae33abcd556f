/*
 * What is kept of an object: a handful of properties by name, in one sorted array.
 *
 * The daemon keeps them for as long as it runs. One block for each object takes half of the memory
 * that a node for each property would take. Names are not copied: there are only those of the
 * tables that say what is kept.
 *
 * Values; no locks. Throws std::bad_alloc when memory runs out.
 */
#pragma once

#include "store/types.hpp"

#include <concepts>
#include <cstddef>
#include <initializer_list>
#include <string_view>
#include <vector>

/**
 * A name that lives as long as the program: the compiler makes one of a literal or of a constant
 * view of one, and of nothing else.
 */
class PropertyName
{
  public:
    template <std::convertible_to<std::string_view> Text>
    requires(!std::same_as<Text, PropertyName>) consteval PropertyName(const Text& name)
        : name_(name)
    {
    }

    constexpr operator std::string_view() const
    {
        return name_;
    }

    friend constexpr bool operator==(PropertyName, PropertyName) = default;
    friend constexpr bool operator==(PropertyName name, std::string_view text)
    {
        return name.name_ == text;
    }

  private:
    std::string_view name_;
};

class PropertyMap
{
  public:
    struct Entry
    {
        PropertyName name;
        PropertyValue value;

        bool operator==(const Entry&) const = default;
    };
    using Entries = std::vector<Entry>;

    PropertyMap() = default;

    /** In any order; of two with the same name the later one counts. */
    PropertyMap(std::initializer_list<Entry> entries);

    /** Ascending by name, in byte order. */
    Entries::const_iterator begin() const
    {
        return entries_.begin();
    }
    Entries::const_iterator end() const
    {
        return entries_.end();
    }

    bool empty() const
    {
        return entries_.empty();
    }
    std::size_t size() const
    {
        return entries_.size();
    }

    /** Null when there is none of that name; valid until the next change. */
    const PropertyValue* find(std::string_view name) const;

    /** Makes room for so many, so that adding them takes no more memory than they need. */
    void reserve(std::size_t count)
    {
        entries_.reserve(count);
    }

    void insert_or_assign(PropertyName name, PropertyValue value);

    friend bool operator==(const PropertyMap&, const PropertyMap&) = default;

  private:
    Entries entries_;
};

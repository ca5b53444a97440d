// From the text of a full name to the node and the instances that it stands for.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "ravd/model/live_sync.h"
#include "ravd/model/schema.h"
#include "ravd/model/store.h"

namespace ravd {

// A name, element by element. Views are into the text that it was parsed from.
struct Path {
    struct Element {
        std::string_view text;   // as asked: "IP", "12", "#template"
        const SchemaNode *node;  // for a number: "#template"
    };
    std::vector<Element> elements;  // none: the root
    const SchemaNode *node;         // the last one's, or the root
    bool closed = false;            // ended in "."
    bool every_instance = false;    // "#template" is an element
    bool in_method = false;         // goes into a method's arguments
};

// Parses a full name: "Device.IP.Interface.1.Enable", "." for the root, an object's, an instance's or a method's with
// or without the closing ".". Case counts. False when the schema has no such name. A parameter's closing "." is
// taken: see Path::closed. Whether instances exist is not looked at.
bool parse_path(const Schema &schema, std::string_view text, Path &path);
// The same for a name relative to the node start.
bool parse_path_below(const SchemaNode &start, std::string_view text, Path &path);

// path's elements joined and, unless it is a parameter, closed: the name that replies have it under. "." for the root.
std::string reply_name(const Path &path);

// The full name of the node that record holds, or is the instance of; closed unless it is a parameter. "" for the root.
std::string full_name(const SchemaNode &node, const Record &record);

// A full name in two: up to a node at or above its own, closed as above, and the rest.
struct CutName {
    std::string path, rest;
};
CutName cut_name(const SchemaNode &node, const Record &record, const SchemaNode &at);

// One place that a name stands for.
struct Place {
    const SchemaNode *node;
    Record *record;    // the one that holds the node, or the instance itself; null: the instance does not exist, or the
                       // name goes through "#template" or into a method
    std::string name;  // full name with instance numbers, closed unless it is a parameter; "" for the root
    Table *table = nullptr;  // of present places: the one that record is an instance in; null for the root's record
};

// The places of a name among the present instances: one; none when it names an instance that does not exist, or goes
// into a method; where "#template" is an element, one for each present instance. Live tables on the way are updated
// first. No place has a null record.
std::vector<Place> present_places(const Path &path, Model::Parts &parts, LiveSync &sync);

// The instance of table that a name's element means: null when there is none. Numbers have no leading zeros.
Record *find_instance(const Table &table, std::string_view element);

// The record that holds what path, parsed below the node that start is of, leads to; null when there is no such
// instance, or when "#template" is an element. Live tables on the way are updated first.
Record *record_below(Record &start, const Path &path, LiveSync &sync);

// The one place of a name taken as it stands, its record null where there is no such instance.
Place schema_place(const Path &path, Model::Parts &parts, LiveSync &sync);

}  // namespace ravd

// The XML form of a dump configuration: the names, and the elements that are entries.
//
//   <dumpconfig>
//     <common>
//       <tag value="NAME"><pipe>SNAPSHOT_TYPE</pipe><dumpType>0</dumpType></tag>
//     </common>
//     <pipeline>
//       <node name="NODE"><tag name="NAME">...</tag></node>
//     </pipeline>
//   </dumpconfig>
#pragma once

#include <pugixml.hpp>

constexpr const char* kConfigRootName = "dumpconfig";
constexpr const char* kConfigCommonName = "common";
constexpr const char* kConfigPipelineName = "pipeline";
constexpr const char* kConfigNodeName = "node";
constexpr const char* kConfigTagName = "tag";

/// The attribute that holds the tag's name differs between the common section and a node, as in the
/// configurations on devices.
constexpr const char* kConfigCommonAttribute = "value";
constexpr const char* kConfigNodeAttribute = "name";

/// The elements in an entry.
constexpr const char* kConfigPipe = "pipe";
constexpr const char* kConfigCamera = "camID";
constexpr const char* kConfigSof = "sofID";
constexpr const char* kConfigIdleSof = "sofid";  ///< appears in the log only
constexpr const char* kConfigDumpType = "dumpType";

/// Calls `visit` for the first child named `name` and every element after it, whatever its name:
/// configurations on devices have entries of other names and rely on them.
template <typename Visit>
void forElementsFrom(pugi::xml_node parent, const char* name, Visit visit) {
    for (pugi::xml_node node = parent.child(name); node; node = node.next_sibling()) {
        if (node.type() == pugi::node_element) visit(node);
    }
}

/// Calls `visitNode(node)` for every node and `visitTag(element, attribute)` for every entry below
/// `root`, in the order in which they are dumped; `attribute` names the attribute that holds the
/// tag's name.
template <typename VisitNode, typename VisitTag>
void forConfigEntries(pugi::xml_node root, VisitNode visitNode, VisitTag visitTag) {
    forElementsFrom(root.child(kConfigCommonName), kConfigTagName,
                    [&](pugi::xml_node tag) { visitTag(tag, kConfigCommonAttribute); });
    forElementsFrom(root.child(kConfigPipelineName), kConfigNodeName, [&](pugi::xml_node node) {
        visitNode(node);
        forElementsFrom(node, kConfigTagName,
                        [&](pugi::xml_node tag) { visitTag(tag, kConfigNodeAttribute); });
    });
}

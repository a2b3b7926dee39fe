// Tests of tag tables: their parts in every verb, and the output of `tyksim tags` and `check`.
#include "tests/tool/ToolRun.h"

namespace tooltest {

namespace {

/// Names, bits, two dimensions and parts of structures in the 16 bytes of a tag.
const char* const kFields = R"sh(
W=KELV_TAG_WB_GAINS
sed -i '/<tags/s,$,<enum name="Mode"><value name="OFF" number="0"/><value name="AUTO" number="1"/></enum>,
    /name="gains"/d; /name="red"/d
    s,<field name="blue".*,<field name="mode" offset="0" type="u8" enum="Mode"/>\
        <field name="bits" offset="0" type="i16" bits="6:4"/>\
        <field name="grid" offset="2" type="i16" dims="2x3" unit="mV"/>\
        <field name="roi[0].x" offset="14" type="u8"/>\
        <field name="roi[1].x" offset="15" type="u8"/>,' r/tags.xml
)sh";

/// A table, and a change of its text.
const char* const kTable = R"sh(
table() {
    cat >t.xml <<END
<tags version="2"><enum name="Mode"><value name="AUTO" number="300"/></enum>
<tag id="1" name="A" size="8" kind="fixed">
<field name="a" offset="0" type="u16" enum="Mode"/>
<field name="b" offset="2" type="u16" count="3"/>
</tag></tags>
END
    sed -i "$1" t.xml
}
)sh";

Rows partsOfTables() {
    return {
        {"NamesAndUnitsInEveryVerb",
         R"sh(tyksim copy r -o p --set $W=0x01000100020003000400050006000708
              tyksim show p --tag $W --frames 2
              tyksim show p --tag $W --frames 2 --json
              tyksim track p $W.mode $W.grid[1] $W.grid[0][2] $W.roi[1].x --frames 2 | tr -s ' '
              tyksim track p $W.mode $W.grid --frames 2 --json
              tyksim copy p -o q --set $W.mode=7 --set $W.grid[1][1]=9
              fails 3 tyksim diff p q
              fails 3 tyksim diff p q --json)sh",
         {"AUTO (1)\n", "1,2,3,4,5,6 mV\n", R"("mode":{"number":1,"name":"AUTO"})",
          R"("grid":[[1,2,3],[4,5,6]])", R"("units":{"grid":"mV"})", " AUTO (1) 4,5,6 3 8\n",
          "KELV_TAG_WB_GAINS.grid[1] (mV)", R"("units":{"KELV_TAG_WB_GAINS.grid":"mV"},"rows")",
          "mode: AUTO (1) -> 7\n", "grid[1][1]: 5 -> 9 mV\n",
          R"("b":{"number":7,"name":null},"unit":null)"}},
        {"SetByName",
         R"sh(tyksim copy r -o p --set $W.mode=AUTO --set $W.bits=-8 --set $W.roi[1].x=3
              tyksim track p $W.mode $W.bits $W.roi[1].x | tr -s ' '
              fails 2 tyksim copy r -o q --set $W.mode=AUTOO
              fails 2 tyksim copy r -o q --set $W.bits=8
              fails 2 tyksim track r $W.grid[2][0]
              fails 2 tyksim track r $W.roi[2].x)sh",
         {"mode: ", " -> AUTO (1)\n", " AUTO (1) -8 3\n",
          "from 0 to 255 or a name of Mode, found \"AUTOO\": nearest: AUTO\n",
          "a whole number from -8 to 7, found \"8\"",
          "KELV_TAG_WB_GAINS.grid has 2 x 3 elements, the last is [1][2]",
          "no such field; it has mode, bits, grid, roi[0].x, roi[1].x"}},
        {"IgnoredBitsAlone",
         R"sh(tyksim copy r -o p --set $W.bits=5; tyksim copy r -o q --set $W.bits=-3
              tyksim diff p q --ignore $W.bits
              tyksim copy q -o s --set $W.mode=0
              fails 3 tyksim diff p s --ignore $W.bits)sh",
         {"all the same", "1 byte differs"}},
        {"CopyHasTheTagTable",
         R"sh(sed -i 's,<tags,<!-- mine --><tags,' r/tags.xml
              mv r/tags.xml mine.xml
              tyksim copy r -o p --tags mine.xml
              tyksim replay r -o q --with $P/brightness.so --tags mine.xml
              cmp mine.xml p/tags.xml
              cmp mine.xml q/tags.xml)sh"},
        {"ALaterVersion",
         R"sh(sed -i 's,version="2",version="9",; s,unit="mV",scale="2",' r/tags.xml
              fails 3 tyksim copy r -o p --set $W.mode=OFF
              fails 3 tyksim track p $W.mode
              fails 3 tyksim tags show r)sh",
         {"expected nothing beyond version 2 of tag tables, found the attribute \"scale\" of "
          "<field>: ignored",
          "OFF (0)"}},
    };
}

Rows shownTables() {
    return {
        {"AllTags",
         "tyksim tags show r --json; tyksim tags show --tags r/tags.xml",
         {R"({"name":"KELV_TAG_WB_GAINS","id":4100,"kind":"fixed","size":16,"field_bytes":16,)",
          R"("name":"KELV_TAG_ISCENE_INFO")", "KELV_TAG_ISCENE_INFO ", "tags, 3 enums\n"}},
        {"GoldenLayout",
         "tyksim tags show r; tyksim tags show r KELV_TAG_WB_GAINS",
         {"tag                              id  kind   fields  bytes in fields\n",
          "\nKELV_TAG_WB_GAINS              4100  fixed       5         16 of 16\n",
          "KELV_TAG_WB_GAINS: id 4100, fixed, 16 of 16 bytes in fields\n"
          "field     offset  type              unit  enum\n"
          "mode           0  u8                      Mode\n"
          "bits           0  i16, bits 6 to 9\n"
          "grid           2  i16[2][3]         mV\n"
          "roi[0].x      14  u8\n"
          "roi[1].x      15  u8\n"
          "Mode  number\n"
          "OFF        0\n"
          "AUTO       1\n"}},
        {"OneTagAsJson",
         "tyksim tags show KELV_TAG_WB_GAINS r --json",
         {R"({"name":"bits","offset":0,"type":"i16","dims":[],"bits":{"offset":6,"width":4},"unit":null,)"
          R"("enum":null})",
          R"("enums":[{"name":"Mode","values":[{"number":0,"name":"OFF"},)", "!GyroAxes"}},
        {"NoSuchTag", "fails 2 tyksim tags show r WB_GAIN", {"did you mean KELV_TAG_WB_GAINS?"}},
        {"NoTable",
         "rm r/tags.xml; fails 1 tyksim tags show r",
         {"r: expected a tag table beside the tree, found none; --tags FILE names one"}},
        {"NoTree",
         "fails 2 tyksim tags show KELV_TAG_WB_GAINS; fails 2 tyksim tags show",
         {"found KELV_TAG_WB_GAINS, which is not a folder", "found neither"}},
        {"NoSuchAction", "fails 2 tyksim tags sho", {"show"}},
    };
}

Rows checkedTables() {
    return {
        {"TableOfARecording",
         "tyksim tags check r/tags.xml --fail-on warning",
         {"!table-form", "!tag-opaque"}},
        {"Clean", "table ''; tyksim tags check t.xml", {"t.xml: clean: 1 tag, 2 fields, 1 enum"}},
        {"Overlap",
         "table 's,offset=\"2\",offset=\"1\",'; fails 3 tyksim tags check t.xml",
         {"- table-overlap: t.xml: expected fields of A that share no bytes, found b with a",
          "- table-gap: t.xml: expected fields for all 8 bytes of A, found none for 1 of them: 7"}},
        {"Gap",
         "table 's,count=\"3\",count=\"2\",'; fails 3 tyksim tags check t.xml",
         {"none for 2 of them: 6 to 7"}},
        {"Beyond",
         "table 's,count=\"3\",count=\"4\",'; fails 3 tyksim tags check t.xml --json",
         {R"("rule":"table-field-beyond","severity":"error","path":"t.xml")",
          R"(found":"line 2: 2 to 10)"}},
        {"DoubledNamesAndIds",
         R"sh(table 's,"b","a",; s,</tags>,<tag id="1" name="A" size="0" kind="fixed"/>&,'
              fails 3 tyksim tags check t.xml)sh",
         {"table-repeated: t.xml: expected fields with unique names, found line 2: \"a\" "
          "twice",
          "a unique id, found line 5: 1, which line 2 has",
          "a unique name, found line 5: \"A\", which line 2 has"}},
        {"PartsOfALaterVersion",
         "table 's, version=\"2\",,'; fails 3 tyksim tags check t.xml",
         {"- table-version-low: t.xml: expected version=\"2\" in <tags>, found version 1 with enum "
          "Mode, A.a"}},
        {"OptionOfAnotherAction",
         "table ''; fails 2 tyksim tags show --tags t.xml --fail-on note",
         {"--fail-on: expected with tags check, found with tags show"}},
        {"Enums",
         R"sh(table 's,u16" enum,u8" enum,; s,</tags>,<enum name="Idle"/>&,'
              fails 3 tyksim tags check t.xml)sh",
         {"~ table-enum-range: t.xml: expected numbers of Mode that A.a can hold, found AUTO (300)",
          "- table-enum-unused: t.xml: expected a field of the enum Idle, found none"}},
        {"Shadowed",
         "table 's,\"a\",\"b[1]\",'; fails 3 tyksim tags check t.xml",
         {"~ table-shadowed: t.xml: expected a unique name for the field b[1] of A"}},
        {"WithoutFields",
         "table /field/d; fails 3 tyksim tags check t.xml",
         {"- tag-opaque: t.xml: expected fields of A, found none for its 8 bytes"}},
        {"NoXml", "echo '<tags' >t.xml; fails 3 tyksim tags check t.xml", {"table-form: t.xml: "}},
        {"NoFile",
         "table ''; fails 1 tyksim tags check none.xml t.xml",
         {"none.xml: ", "t.xml: clean"}},
    };
}

/// `check` of a tree names the tags without fields.
Rows opaqueTags() {
    return {
        {"AllTagsHaveFields", "tyksim check r", {"whose fields cover ", "clean", "!tag-opaque"}},
        {"TagWithoutFields",
         R"sh(sed -i '/KELV_TAG_SENSITIVITY/,/<.tag>/{/<field/d}' r/tags.xml
              fails 3 tyksim check r
              tyksim check r --fail-on warning --json)sh",
         {"- tag-opaque: ",
          "r/tags.xml: expected fields of KELV_TAG_SENSITIVITY, found none for its 4 bytes",
          "parameter_bytes"}},
        {"WithoutATable", "rm r/tags.xml; tyksim check r", {"without a tag table", "!cover"}},
    };
}

void append(Rows& rows, Rows more) {
    rows.insert(rows.end(), more.begin(), more.end());
}

}  // namespace

Rows tagsRows() {
    Rows rows = after(kFields, partsOfTables());
    append(rows, after(kFields, shownTables()));
    append(rows, after(kTable, checkedTables()));
    append(rows, opaqueTags());
    return rows;
}

}  // namespace tooltest

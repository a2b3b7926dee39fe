// Tests of fields of every type: set, shown, as a ramp, refused, cut off.
#include "tests/tool/ToolRun.h"

namespace tooltest {

namespace {

/// Replaces a tag's fields by fields of every type in its 16 bytes, which `bytes` prints.
std::string everyType() {
    struct Field {
        const char *name, *type, *offset, *count;
    };
    std::string fields;
    for (const Field& field :
         {Field{"a", "u8", "0", "2"}, Field{"b", "i8", "3", "1"}, Field{"c", "i16", "4", "1"},
          Field{"d", "u16", "4", "1"}, Field{"e", "i32", "4", "1"}, Field{"f", "u32", "4", "1"},
          Field{"g", "i64", "8", "1"}, Field{"h", "u64", "8", "1"}, Field{"i", "f64", "8", "1"},
          Field{"s", "char", "0", "4"}}) {
        fields += std::string("<field name=\"") + field.name + "\" type=\"" + field.type +
                  "\" offset=\"" + field.offset + "\" count=\"" + field.count + "\"/>";
    }
    return "sed -i 's,<field name=\"gains\".*," + fields +
           ",' r/tags.xml; W=KELV_TAG_WB_GAINS\n"
           "bytes() { od -An -tx1 p/data/*/*/*/*/*/*/*$W.bin; }\n";
}

Rows setAndShown() {
    return {
        {"EveryTypeIsRead",
         R"sh(tyksim copy r -o p --set $W=0x417E0080feffffff000000000000f8bf
              tyksim track p $W.a $W.a[1] $W.b $W.c $W.d $W.e $W.f $W.g $W.h $W.i $W.s $W --csv)sh",
         {("\n1,1,2,2,2,\"65,126\",126,-128,-2,65534,-2,4294967294,-4613937818241073152,"
           "13832806255468478464,-1.5,A~,\"crc32 bfdc7ba7, 16 bytes\"\n")}},
        {"SmallestAndLargestOfSmallTypes",
         R"sh(tyksim copy r -o p --set $W.a=1,255 --set $W.b=-128 --set $W.c=-2 --set $W.i=-1.5 \
                  --frames 1
              bytes)sh",
         {"\n 01 ff df 80 fe ff 80 3f 00 00 00 00 00 00 f8 bf\n"}},
        {"TextAndSmallestInteger",
         R"sh(tyksim copy r -o p --set $W.s=xy --set $W.e=-2147483648 \
                  --set $W.h=18446744073709551615 --frames 1
              bytes)sh",
         {".s: w\\xBE\\xDF? -> xy\n", "\n 78 79 00 00 00 00 00 80 ff ff ff ff ff ff ff ff\n"}},
        {"ElementOfAnArray",
         R"sh(tyksim copy r -o p --set $W.f=4294967295 --set $W.g=-9223372036854775808 \
                  --set $W.a[1]=7 --frames 1
              bytes)sh",
         {".a[1]: 190 -> 7\n", "\n 77 07 df 3f ff ff ff ff 00 00 00 00 00 00 00 80\n"}},
    };
}

/// A field's values in frames 2 and 3, or in all three frames, after a ramp is set.
Rows ramps() {
    struct Ramp {
        const char *name, *field, *ramp, *values;
    };
    Rows rows;
    for (const Ramp& ramp :
         {Ramp{"OfU16", "d", "1..65534", "1 32768 65534 \n"},
          Ramp{"OfAllOfU64", "h", "0..18446744073709551615",
               "0 9223372036854775808 18446744073709551615 \n"},
          Ramp{"OfTheLargestU64", "h", "18446744073709551613..18446744073709551615",
               " 18446744073709551614 18446744073709551615 \n"},
          Ramp{"OfIntegersThatNoDoubleHas", "h", "9007199254740993..9007199254740997",
               " 9007199254740995 9007199254740997 \n"},
          Ramp{"Downwards", "h", "4..1", " 3 1 \n"},
          Ramp{"OfAllOfI64", "g", "-9223372036854775808..9223372036854775807",
               " 0 9223372036854775807 \n"},
          Ramp{"OfAllOfF64", "i", "-1.7e308..1.7e308", " 0 1.7e+308 \n"},
          Ramp{"OfF64Downwards", "i", "1.7e308..1.5e308", " 1.6e+308 1.5e+308 \n"}}) {
        const std::string field = std::string("$W.") + ramp.field;
        rows.push_back({std::string("Ramp") + ramp.name,
                        "tyksim copy r -o p --set " + field + "=" + ramp.ramp +
                            "\ntyksim track p " + field +
                            " --csv | tail -n 3 | cut -d, -f6 | tr '\\n' ' '; echo",
                        {ramp.values}});
    }
    return rows;
}

Rows refused() {
    struct Refused {
        const char *name, *value, *reason;
    };
    Rows rows;
    for (const Refused& refused :
         {Refused{"U8TooLarge", "a=256,1", "found \"256\""},
          Refused{"ElementTooFew", "a=1", "found 1\n"},
          Refused{"ElementTooMany", "a=1,2,3", "found 3\n"},
          Refused{"I8TooSmall", "b=-129", "from -128 to 127"},
          Refused{"I16TooLarge", "c=40000", "from -32768 to 32767"},
          Refused{"U16Negative", "d=-1", "from 0 to 65535"},
          Refused{"I32TooLarge", "e=2147483648", "from -2147483648 to 2147483647"},
          Refused{"U32TooLarge", "f=4294967296", "from 0 to 4294967295"},
          Refused{"I64TooLarge", "g=9223372036854775808",
                  "from -9223372036854775808 to 9223372036854775807"},
          Refused{"U64Negative", "h=-1", "from 0 to 18446744073709551615"},
          Refused{"IntegerWithAPoint", "h=1.5", "found \"1.5\""},
          Refused{"F64TooLarge", "i=1e400", "at most 1.7976931348623157e+308, found \"1e400\""},
          Refused{"F64Empty", "i=", "found \"\""},
          Refused{"TextTooLong", "s=abcde", "at most 4 bytes, found 5"},
          Refused{"ElementOutOfRange", "a[2]=1", ".a has the elements 0 to 1\n"},
          Refused{"ElementOfAText", "s[0]=1", ".s is a text\n"},
          Refused{"F32TooLarge", "red=1e39", "at most 3.4028235e+38, found \"1e39\""},
          Refused{"RampFromInfinity", "i=inf..1", "i=inf..1: expected a ramp"},
          Refused{"RampToNaN", "i=1..nan", "i=1..nan: expected a"},
          Refused{"RampOfAnArray", "a=1,2..3,4", "a=1,2..3,4: expected a ramp"},
          Refused{"RampToNoNumber", "h=1..x", "found \"x\""}}) {
        rows.push_back({refused.name,
                        std::string("fails 2 tyksim copy r -o p --set \"$W.") + refused.value +
                            "\"; [ ! -e p ]",
                        {refused.reason}});
    }
    return rows;
}

/// The file of a value is cut: the existing elements are shown, the missing ones are reported.
Rows cutOff() {
    return {
        {"CutOffInTrack",
         R"sh(truncate -s 5 $F2/*WB_GAINS*
              fails 3 tyksim track r $W.a $W.b $W.e $W.s --csv --frames 2)sh",
         {"1,1,2,2,2,\"14,45\",63,,\x0e-\xe2?\n", ".e: the value ends before it, after 5 bytes\n"}},
        {"CutOffInAnArray",
         R"sh(truncate -s 1 $F2/*WB_GAINS*
              fails 3 tyksim track r $W.a[0] $W.a $W.s --json --frames 2)sh",
         {"\"values\":{\"KELV_TAG_WB_GAINS.a[0]\":14,\"KELV_TAG_WB_GAINS.a\":null,",
          ".a: the value ends after 1 of its 2 elements\n",
          ".s: the value ends after 1 of its 4 bytes\n"}},
        {"CutOffInShow",
         R"sh(truncate -s 1 $F2/*WB_GAINS*
              fails 3 tyksim show $F2
              fails 3 tyksim show $F2 --json >j
              grep -o '"a":.*"c"' j)sh",
         {" 14 (cut off)\n", "\"a\":[14],\"b\":null,\"c\""}},
        // Text that is not UTF-8, or that moves the cursor.
        {"TextNotUtf8InShow",
         "tyksim show r --frames 2 --tag $W --json",
         {"\"s\":\"\\u000e-\ufffd?\",\"s_base64\":\"Di3iPw==\""}},
        {"TextNotUtf8InTrack",
         "tyksim track r $W.s --json",
         {("{\"KELV_TAG_WB_GAINS.s\":\"w\ufffd\ufffd?\",\"KELV_TAG_WB_GAINS.s_base64\":\"d77fPw=="
           "\"}")}},
        {"ControlCharactersInTrack",
         R"sh(printf '\033,"' | dd of=$(echo $F2/*WB_GAINS*) conv=notrunc
              tyksim track r $W.s
              tyksim track r $W.s --csv)sh",
         {"\\x1B,\"?\n", "1,1,2,2,2,\"\x1b,\"\"?\"\n"}},
        {"TextNotUtf8InDiff",
         R"sh(printf '\033,"' | dd of=$(echo $F2/*WB_GAINS*) conv=notrunc
              fails 3 tyksim diff r base --json)sh",
         {"\"b\":\"\\u000e-\ufffd?\",\"b_base64\":\"Di3iPw==\"", "!\x1b"}},
    };
}

}  // namespace

Rows valueRows() {
    Rows rows = setAndShown();
    for (const Rows& others : {ramps(), refused(), cutOff()}) {
        rows.insert(rows.end(), others.begin(), others.end());
    }
    return after(everyType(), rows);
}

}  // namespace tooltest

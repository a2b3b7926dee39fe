// Tests of outputs: they replace only outputs of tyksim, and never a part of the input.
#include "tests/tool/ToolRun.h"

namespace tooltest {

Rows outputRows() {
    Rows rows = {
        {"EarlierOutputsOfAnyVerbAreReplaced",
         R"sh(folders 0 p; mkdir q; folders 0 q; rm -r q
              f=$(mktemp p/XXXXXX); files 0 $f)sh"},
        {"FolderOfTheUser",
         "mkdir p; echo x >p/x; folders 2 p; ls p/x",
         {"p: exists already, and --force does not replace it: tyksim did not "
          "make it, and it holds x\n"}},
        {"OutputWithAFileAdded",
         "tyksim copy r -o p; mkfifo p/data/x; folders 2 p; ls p/data/x",
         {"did not make data/x in it"}},
        {"OutputWithAFileChanged",
         "tyksim copy r -o p; touch p/tags.xml; folders 2 p; ls p/tags.xml",
         {"tags.xml in it was changed"}},
        {"OutputWithAFileRemoved", "tyksim export r -o p; rm p/*frame0002*; folders 0 p"},
        {"VideoOfTheUser",
         R"sh(mkdir p; cd p; ln -s ../r
              printf 'YUV4MPEG2 W8 H8\n' >f; files 2 f; wc -l f; cd ..)sh",
         {"1 f", "f: exists already, and --force"}},
        {"PageWithTextAdded",
         "mkdir p; cd p; ln -s ../r; tyksim sheet r -o g; echo >>g; files 2 g; cd ..",
         {"or it was changed"}},
        // Other entries with the name of an output's list.
        {"FolderOfTheListsName",
         R"sh(mkdir -p p/.tyksim-output; echo x >p/.tyksim-output/x
              folders 2 p; cat p/.*/x)sh",
         {"holds .tyksim-output", "\nx\n"}},
        {"FileOfTheListsName",
         R"sh(mkdir p; echo x >p/.tyksim-output; folders 2 p; cat p/.*t)sh",
         {"holds .tyksim-output", "\nx\n"}},
        // Places that an output cannot replace.
        {"WorkingFolder",
         R"sh(mkdir -p p/q; cd p/q; ln -s ../../r
              folders 2 .; folders 2 ..; folders 2 ../q/.; files 2 .; cd ../..; find p)sh",
         {"!p/.", ".: is the working folder", "..: holds the working folder", "p/q/r\n"}},
        {"SymbolicLink",
         R"sh(mkdir -p p/q; ln -s q p/l
              folders 2 p/l; folders 2 p/l/; files 2 p/l; [ -h p/l ])sh",
         {"p/l: is a symbolic link", "p/l/: is a symbolic link"}},
        {"Fifo", "mkfifo f; folders 2 f; files 2 f; [ -p f ]", {"f: is a FIFO"}},
        {"Device",
         "files 2 /dev/null; [ -c /dev/null ]",
         {"/dev/null: is a device", ", or - for standard output"}},
        {"MountPoint", "folders 2 /proc", {"/proc: is a mount point"}},
        {"ChartToStandardOutput",
         "fails 2 tyksim track r ev1 --svg - --force",
         {"--svg -: standard"}},
        {"FolderToStandardOutput", "fails 2 tyksim export r -o -", {"-: the output is a folder"}},
        {"PageToStandardOutput",
         "tyksim sheet r -o - >q; head -n 1 q",
         {"standard output: 3 frames", "<!DOCTYPE html>\n"}},
        // The input by various names.
        {"PlacesInTheInput",
         R"sh(ln -s r p
              (cd $F2; root=../../../../../../../../r
               for o in x ../x ../../../x; do
                   fails 2 tyksim sheet . -o $o
                   fails 2 tyksim export $root -o $o
                   fails 2 tyksim copy ../../ -o $o
               done
               [ -z "$(ls -A | grep x$)" ])
              folders 2 p/new)sh",
         {"lies in the input"}},
        {"PlacesThatTheInputLinksTo",
         R"sh(for l in data ${D#r/}/pipe_1; do
                  rm -rf p; mkdir p; cp -r r p/r; mv p/r/$l p/q; ln -s "$PWD/p/q" p/r/$l
                  fails 2 tyksim export p/r -o p/q/x
                  fails 2 tyksim sheet p/r -o p/q/x
                  [ ! -e p/q/x ]
              done)sh",
         {"p/q/x: lies in the input"}},
        {"TheInputByAnotherName", "folders 2 r/../r", {"r/../r: is the input"}},
        // The place is checked again when the output is complete.
        {"FileAddedMeanwhile",
         R"sh(tyksim copy r -o p
              fails 1 tyksim replay r --with $P/odd_processor.so --option touch=p/x -o p --force
              ls -A; ls p)sh",
         {"p: not replaced, because it changed meanwhile: tyksim did not make x in it",
          "!.p.tyksim", "tags.xml\nx\n"}},
        {"FoldersAboveAreMade", "tyksim copy r -o n/e/w/p; ls -d n/e/w/p/data", {"n/e/w/p/data"}},
        {"FailureRemovesTheFoldersAbove",
         "(ulimit -f 1; fails 1 tyksim copy r -o n/e/w); [ ! -e n ]",
         {"n/e/w/data", ": cannot be written: File too large"}},
    };
    for (Row& row : rows) row.script += "\nsnap | cmp before -";
    // Verbs with a folder as output, and verbs with a file.
    return after(R"sh(
folders() {  # STATUS PATH
    fails $1 tyksim export r -o $2 --force
    fails $1 tyksim copy r -o $2 --force
    fails $1 tyksim replay r --with $P/denoise.so -o $2 --force
    fails $1 tyksim diff r r --heat-map $2 --force
}
files() {  # STATUS PATH
    fails $1 tyksim sheet r -o $2 --force
    fails $1 tyksim track r ev1 --svg $2 --force
    fails $1 tyksim export r --y4m $2 --force
}
snap >before
)sh",
                 rows);
}

}  // namespace tooltest

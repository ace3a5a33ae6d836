#import "MacApp.h"

int main(int argc, char** argv) { return corvane::mac::runMacApp(argc, argv); }

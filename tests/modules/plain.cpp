// A library without resource function and entry point.
extern "C" int answerOfPlain() {
  return 42;
}

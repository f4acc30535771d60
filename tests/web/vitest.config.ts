// Generous times: the tests also run under sanitizers and on busy machines.
export default {
  test: { testTimeout: 500_000, hookTimeout: 60_000, expect: { poll: { timeout: 60_000 } } },
};

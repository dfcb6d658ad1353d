import js from '@eslint/js';
import globals from 'globals';

export default [
  js.configs.recommended,
  {
    files: ['console/page/**/*.js'],
    languageOptions: { globals: { ...globals.browser, ...globals.worker } },
  },
  {
    files: ['tests/console/**/*.js'],
    languageOptions: { globals: { ...globals.node, ...globals.browser } },
  },
];
